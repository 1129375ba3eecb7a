#include "pdh/PdhBuffers.h"

#include <algorithm>
#include <cstring>

namespace {

wchar_t* copyText(wchar_t* to, const std::wstring& text)
{
    std::memcpy(to, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    return to + text.size() + 1;
}

}  // namespace

std::size_t pdhMultiStringLength(const std::vector<std::wstring>& names)
{
    std::size_t n = 1;
    for (const std::wstring& name : names) {
        n += name.size() + 1;
    }
    return std::max<std::size_t>(n, 2);
}

PDH_STATUS pdhWriteMultiString(const std::vector<std::wstring>& names, LPWSTR list, LPDWORD length)
{
    if (length == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    const std::size_t needed = pdhMultiStringLength(names);
    if (list == nullptr || *length < needed) {
        *length = static_cast<DWORD>(needed);
        return pdhStatus(PDH_MORE_DATA);
    }
    std::fill(list, list + *length, L'\0');
    wchar_t* p = list;
    for (const std::wstring& name : names) {
        p = copyText(p, name);
    }
    *length = static_cast<DWORD>(needed);
    return 0;
}

PDH_STATUS pdhWriteCounterArray(const PdhArrayItem* items, std::size_t count, LPDWORD bufferSize,
                                LPDWORD itemCount, PPDH_FMT_COUNTERVALUE_ITEM_W buffer)
{
    if (bufferSize == nullptr || itemCount == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    std::size_t needed = count * sizeof(PDH_FMT_COUNTERVALUE_ITEM_W);
    for (std::size_t i = 0; i < count; ++i) {
        needed += (items[i].name.size() + 1) * sizeof(wchar_t);
    }
    *itemCount = static_cast<DWORD>(count);
    if (buffer == nullptr || *bufferSize < needed) {
        *bufferSize = static_cast<DWORD>(needed);
        return pdhStatus(PDH_MORE_DATA);
    }
    auto* text = reinterpret_cast<wchar_t*>(buffer + count);
    for (std::size_t i = 0; i < count; ++i) {
        buffer[i].szName = text;
        text = copyText(text, items[i].name);
        buffer[i].FmtValue.CStatus = items[i].status;
        buffer[i].FmtValue.doubleValue = items[i].value;
    }
    *bufferSize = static_cast<DWORD>(needed);
    return 0;
}

PDH_STATUS pdhWriteCounterInfo(const PdhCounterInfoText& text, DWORD type, LPDWORD bufferSize,
                               PPDH_COUNTER_INFO_W info)
{
    if (bufferSize == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    const std::wstring* strings[] = {&text.fullPath, &text.machine, &text.object,
                                     &text.instance, &text.counter, &text.explain};
    const bool present[] = {true, true, true, text.hasInstance, true, text.hasExplain};
    std::size_t needed = sizeof(PDH_COUNTER_INFO_W);
    for (int i = 0; i < 6; ++i) {
        needed += present[i] ? (strings[i]->size() + 1) * sizeof(wchar_t) : 0;
    }
    if (info == nullptr || *bufferSize < needed) {
        *bufferSize = static_cast<DWORD>(needed);
        return pdhStatus(PDH_MORE_DATA);
    }
    std::memset(static_cast<void*>(info), 0, needed);
    info->dwLength = static_cast<DWORD>(needed);
    info->dwType = type;
    LPWSTR* fields[] = {&info->szFullPath, &info->CounterPath.szMachineName, &info->CounterPath.szObjectName,
                        &info->CounterPath.szInstanceName, &info->CounterPath.szCounterName, &info->szExplainText};
    auto* out = reinterpret_cast<wchar_t*>(reinterpret_cast<char*>(info) + sizeof(PDH_COUNTER_INFO_W));
    for (int i = 0; i < 6; ++i) {
        if (present[i]) {
            *fields[i] = out;
            out = copyText(out, *strings[i]);
        }
    }
    *bufferSize = static_cast<DWORD>(needed);
    return 0;
}

PDH_STATUS pdhBeginValueRead(bool found, bool rate, bool wildcard, DWORD format, LPDWORD type,
                             PPDH_FMT_COUNTERVALUE value)
{
    if (!found) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (value == nullptr || (format & PDH_FMT_DOUBLE) == 0) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    if (type != nullptr) {
        *type = rate ? PDH_TYPE_RATE : PDH_TYPE_RAW;
    }
    value->doubleValue = 0.0;
    if (wildcard) {
        value->CStatus = PDH_INVALID_ARGUMENT;
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    return 0;
}
