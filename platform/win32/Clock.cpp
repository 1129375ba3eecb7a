#include "platform/Clock.h"

#include <windows.h>

#include <time.h>

namespace platform {

uint64_t systemTimeTicks()
{
    FILETIME ft;
    GetSystemTimeAsFileTime(&ft);
    return (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}

bool gmTime(int64_t seconds, std::tm& out)
{
    __time64_t t = seconds;
    return _gmtime64_s(&out, &t) == 0;
}

bool localTime(int64_t seconds, std::tm& out)
{
    __time64_t t = seconds;
    return _localtime64_s(&out, &t) == 0;
}

bool localMkTime(std::tm& in, int64_t& seconds)
{
    __time64_t t = _mktime64(&in);
    if (t == -1)
        return false;
    seconds = t;
    return true;
}

void sleepMilliseconds(uint32_t ms)
{
    Sleep(ms);
}

} // namespace platform
