#include "platform/OsError.h"

#include <cerrno>
#include <cstring>

namespace platform {

namespace {

// strerror_r comes in two shapes: XSI answers an int and fills the buffer,
// GNU answers the text (which may not be the buffer).
[[maybe_unused]] const char* strerrorResult(int rc, const char* buffer)
{
    return rc == 0 ? buffer : nullptr;
}

[[maybe_unused]] const char* strerrorResult(const char* text, const char*)
{
    // GNU invents "Unknown error N" where there is no text.
    if (text == nullptr || std::strncmp(text, "Unknown error", 13) == 0)
        return nullptr;
    return text;
}

}  // namespace

OsErrorCode lastOsError() noexcept
{
    return static_cast<OsErrorCode>(errno);
}

void setLastOsError(OsErrorCode code) noexcept
{
    errno = static_cast<int>(code);
}

bool osErrorText(OsErrorCode code, std::string& out)
{
    LastOsErrorSaver keep;
    char buffer[256];
    buffer[0] = '\0';
    const char* text = strerrorResult(strerror_r(static_cast<int>(code), buffer, sizeof buffer), buffer);
    if (text == nullptr || *text == '\0')
        return false;
    out = text;
    return true;
}

}  // namespace platform
