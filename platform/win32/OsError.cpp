#include "platform/OsError.h"

#include <windows.h>

#include "platform/TextConv.h"

namespace platform {

OsErrorCode lastOsError() noexcept
{
    return static_cast<OsErrorCode>(GetLastError());
}

void setLastOsError(OsErrorCode code) noexcept
{
    SetLastError(static_cast<DWORD>(code));
}

bool osErrorText(OsErrorCode code, std::string& out)
{
    LastOsErrorSaver keep;
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&buffer), 0,
        nullptr);
    if (length == 0 || buffer == nullptr)
        return false;
    // System messages end with "\r\n"; a log line wants none.
    DWORD end = length;
    while (end > 0 && (buffer[end - 1] == L'\r' || buffer[end - 1] == L'\n' || buffer[end - 1] == L' '))
        --end;
    std::string text;
    const bool converted = appendWideAsUtf8(text, buffer, end);
    LocalFree(buffer);
    if (!converted || text.empty())
        return false;
    out.swap(text);
    return true;
}

}  // namespace platform
