#include "pdh/PdhCounterPath.h"

#include <cstring>
#include <cwctype>

namespace {

wchar_t fold(wchar_t c)
{
    return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
}

bool allDigits(const std::wstring& s, std::size_t from)
{
    if (from >= s.size()) {
        return false;
    }
    for (std::size_t i = from; i < s.size(); ++i) {
        if (s[i] < L'0' || s[i] > L'9') {
            return false;
        }
    }
    return true;
}

}  // namespace

bool pdhNameEquals(const std::wstring& a, const std::wstring& b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (fold(a[i]) != fold(b[i])) {
            return false;
        }
    }
    return true;
}

bool pdhNameMatches(const std::wstring& pattern, const std::wstring& name)
{
    return pdhGlobMatches(pattern, name, fold);
}

bool PdhCounterPath::parse(const std::wstring& path, const std::wstring& defaultMachine)
{
    *this = PdhCounterPath();
    if (path.empty() || path[0] != L'\\') {
        return false;
    }
    std::size_t pos = 1;
    if (path.size() > 1 && path[1] == L'\\') {
        const std::size_t end = path.find(L'\\', 2);
        if (end == std::wstring::npos || end == 2) {
            return false;
        }
        machine = path.substr(0, end);
        pos = end + 1;
    } else {
        machine = defaultMachine;
    }

    const std::size_t objectEnd = path.find_first_of(L"(\\", pos);
    if (objectEnd == std::wstring::npos || objectEnd == pos) {
        return false;
    }
    object = path.substr(pos, objectEnd - pos);
    std::size_t counterStart;
    if (path[objectEnd] == L'(') {
        // Instance names may hold parentheses of their own: the last ")\" closes.
        const std::size_t close = path.rfind(L")\\");
        if (close == std::wstring::npos || close < objectEnd) {
            return false;
        }
        std::wstring inner = path.substr(objectEnd + 1, close - objectEnd - 1);
        const std::size_t slash = inner.find(L'/');
        if (slash != std::wstring::npos) {
            parent = inner.substr(0, slash);
            inner.erase(0, slash + 1);
        }
        const std::size_t hash = inner.rfind(L'#');
        if (hash != std::wstring::npos && allDigits(inner, hash + 1)) {
            index = static_cast<DWORD>(std::wcstoul(inner.c_str() + hash + 1, nullptr, 10));
            inner.erase(hash);
        }
        instance = inner;
        hasInstance = true;
        counterStart = close + 2;
    } else {
        counterStart = objectEnd + 1;
    }
    counter = path.substr(counterStart);
    return counter.find(L'\\') == std::wstring::npos;
}

std::wstring PdhCounterPath::fullInstance() const
{
    std::wstring out;
    if (!parent.empty()) {
        out = parent + L'/';
    }
    out += instance;
    if (index != 0) {
        out += L'#';
        out += std::to_wstring(index);
    }
    return out;
}

PDH_STATUS PdhCounterPath::toElements(PPDH_COUNTER_PATH_ELEMENTS_W buffer, LPDWORD size) const
{
    if (size == nullptr) {
        return static_cast<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    }
    const std::wstring* strings[] = {&machine, &object, &instance, &parent, &counter};
    const bool present[] = {true, true, hasInstance, !parent.empty(), true};
    std::size_t needed = sizeof(PDH_COUNTER_PATH_ELEMENTS_W);
    for (int i = 0; i < 5; ++i) {
        if (present[i]) {
            needed += (strings[i]->size() + 1) * sizeof(wchar_t);
        }
    }
    if (buffer == nullptr || *size < needed) {
        *size = static_cast<DWORD>(needed);
        return static_cast<PDH_STATUS>(PDH_MORE_DATA);
    }
    auto* text = reinterpret_cast<wchar_t*>(buffer + 1);
    LPWSTR* fields[] = {&buffer->szMachineName, &buffer->szObjectName, &buffer->szInstanceName,
                        &buffer->szParentInstance, &buffer->szCounterName};
    for (int i = 0; i < 5; ++i) {
        if (!present[i]) {
            *fields[i] = nullptr;
            continue;
        }
        *fields[i] = text;
        std::memcpy(text, strings[i]->c_str(), (strings[i]->size() + 1) * sizeof(wchar_t));
        text += strings[i]->size() + 1;
    }
    buffer->dwInstanceIndex = index;
    *size = static_cast<DWORD>(needed);
    return 0;
}
