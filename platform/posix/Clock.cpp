#include "platform/Clock.h"

#include <cerrno>
#include <limits>
#include <time.h>

namespace platform {

uint64_t systemTimeTicks()
{
    struct timespec ts {};
    clock_gettime(CLOCK_REALTIME, &ts);
    return (static_cast<uint64_t>(ts.tv_sec) + 11644473600ull) * 10000000ull
        + static_cast<uint64_t>(ts.tv_nsec) / 100;
}

static bool toTimeT(int64_t seconds, time_t& out)
{
    if (seconds < static_cast<int64_t>(std::numeric_limits<time_t>::min())
        || seconds > static_cast<int64_t>(std::numeric_limits<time_t>::max()))
        return false;
    out = static_cast<time_t>(seconds);
    return true;
}

bool gmTime(int64_t seconds, std::tm& out)
{
    time_t t;
    return toTimeT(seconds, t) && gmtime_r(&t, &out) != nullptr;
}

bool localTime(int64_t seconds, std::tm& out)
{
    time_t t;
    return toTimeT(seconds, t) && localtime_r(&t, &out) != nullptr;
}

bool localMkTime(std::tm& in, int64_t& seconds)
{
    // -1 is also a valid result (one second before the epoch); tell them apart
    // by the normalised fields.
    in.tm_wday = -1;
    time_t t = mktime(&in);
    if (t == static_cast<time_t>(-1) && in.tm_wday == -1)
        return false;
    seconds = static_cast<int64_t>(t);
    return true;
}

void sleepMilliseconds(uint32_t ms)
{
    struct timespec ts {};
    ts.tv_sec = static_cast<time_t>(ms / 1000);
    ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    // A signal cuts the sleep short; sleep the rest.
    while (nanosleep(&ts, &ts) == -1 && errno == EINTR) {
    }
}

} // namespace platform
