#pragma once

#include <cstddef>
#include <string>

#include "pdh/PdhApi.h"

// The parts of a counter path "\\machine\object(parent/instance#index)\counter",
// in which the machine and the parenthesised part are optional.
struct PdhCounterPath {
    std::wstring machine;  // with its leading "\\"
    std::wstring object;
    bool hasInstance = false;
    std::wstring parent;  // empty if none
    std::wstring instance;
    DWORD index = 0;  // the k of "#k"
    std::wstring counter;

    // Splits path; machine is what a path without one gets. False if the
    // path isn't of the shape above.
    bool parse(const std::wstring& path, const std::wstring& defaultMachine);

    // The instance with its "#k" suffix and parent again, as PDH lists it in paths.
    std::wstring fullInstance() const;

    // Fills PDH's element record and its strings into buffer of *size bytes,
    // or answers PDH_MORE_DATA with the size needed.
    PDH_STATUS toElements(PPDH_COUNTER_PATH_ELEMENTS_W buffer, LPDWORD size) const;
};

// Case-insensitive comparison of PDH names, as PDH compares them.
bool pdhNameEquals(const std::wstring& a, const std::wstring& b);
// Matches a name against a pattern in which "*" stands for any run of characters.
bool pdhNameMatches(const std::wstring& pattern, const std::wstring& name);

// Whether name matches pattern, where "*" stands for any run of characters and
// the rest are compared through fold. Greedy, with one point to go back to.
template <typename Text, typename Fold>
bool pdhGlobMatches(const Text& pattern, const Text& name, Fold fold)
{
    std::size_t p = 0, n = 0, star = Text::npos, mark = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            mark = n;
        } else if (p < pattern.size() && fold(pattern[p]) == fold(name[n])) {
            ++p;
            ++n;
        } else if (star != Text::npos) {
            p = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') {
        ++p;
    }
    return p == pattern.size();
}
