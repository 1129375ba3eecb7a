#include "platform/ErrorStream.h"

#include <windows.h>

namespace platform {

void writeToErrorStream(const char* data, std::size_t length) noexcept
{
    HANDLE h = GetStdHandle(STD_ERROR_HANDLE);
    if (h == nullptr || h == INVALID_HANDLE_VALUE)
        return;
    DWORD written = 0;
    WriteFile(h, data, static_cast<DWORD>(length), &written, nullptr);
}

}  // namespace platform
