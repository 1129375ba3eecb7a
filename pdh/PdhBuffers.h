#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "pdh/PdhApi.h"

// PDH's buffer conventions, shared by the providers that build PDH's answers
// themselves: double-zero-terminated name lists and the records of
// PdhGetFormattedCounterArrayW and PdhGetCounterInfoW, each sized by the
// two-call idiom (PDH_MORE_DATA with the size needed when the buffer is short).

// A PDH status code as the functions answer it.
inline PDH_STATUS pdhStatus(DWORD code)
{
    return static_cast<PDH_STATUS>(code);
}

// Counter types as PDH reports them: a per-second rate and a plain number.
constexpr DWORD PDH_TYPE_RATE = 0x10410400;
constexpr DWORD PDH_TYPE_RAW = 0x00010000;

// The start of every provider's PdhGetFormattedCounterValue: an unknown
// handle, a bad argument or a wildcard counter (read only as an array) answer
// here, with type and value set as PDH sets them; 0 goes on to the read.
PDH_STATUS pdhBeginValueRead(bool found, bool rate, bool wildcard, DWORD format, LPDWORD type,
                             PPDH_FMT_COUNTERVALUE value);

// Characters a list of names takes, both terminating zeros included; an empty
// list still takes two.
std::size_t pdhMultiStringLength(const std::vector<std::wstring>& names);

// Writes names into list, or answers PDH_MORE_DATA. *length is in characters,
// set to what the list needs either way.
PDH_STATUS pdhWriteMultiString(const std::vector<std::wstring>& names, LPWSTR list, LPDWORD length);

// One item of a formatted array before it is laid out.
struct PdhArrayItem {
    std::wstring name;
    DWORD status = 0;
    double value = 0.0;
};

// Lays out items as PDH_FMT_COUNTERVALUE_ITEM_W records followed by their names,
// or answers PDH_MORE_DATA. *bufferSize is in bytes; *itemCount is set either way.
PDH_STATUS pdhWriteCounterArray(const PdhArrayItem* items, std::size_t count, LPDWORD bufferSize,
                                LPDWORD itemCount, PPDH_FMT_COUNTERVALUE_ITEM_W buffer);

// The strings of a PDH_COUNTER_INFO_W record; an absent instance or explain
// text leaves its field null.
struct PdhCounterInfoText {
    std::wstring fullPath;
    std::wstring machine;
    std::wstring object;
    bool hasInstance = false;
    std::wstring instance;
    std::wstring counter;
    bool hasExplain = false;
    std::wstring explain;
};

// Fills info with type and text, or answers PDH_MORE_DATA. *bufferSize is in bytes.
PDH_STATUS pdhWriteCounterInfo(const PdhCounterInfoText& text, DWORD type, LPDWORD bufferSize,
                               PPDH_COUNTER_INFO_W info);

// The object a provider owns that a handle stands for, or nullptr.
template <typename Owners>
auto pdhFindOwned(const Owners& owned, const void* handle) -> decltype(owned.begin()->get())
{
    for (const auto& p : owned) {
        if (p.get() == handle) {
            return p.get();
        }
    }
    return nullptr;
}
