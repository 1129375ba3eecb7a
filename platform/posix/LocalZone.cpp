#include "platform/LocalZone.h"

#include <cerrno>
#include <time.h>

namespace platform {

bool localZoneBias(std::int32_t& bias, std::int32_t& daylightBias)
{
    // Read TZ afresh so that a changed zone shows, as it does on Windows.
    tzset();
    const time_t now = time(nullptr);
    struct tm tm {};
    if (localtime_r(&now, &tm) == nullptr) {
        return false;
    }
    // The zone database has no "standard" and "daylight" record of its own:
    // look at the offsets in force at points spread over the current year.
    struct tm start {};
    start.tm_year = tm.tm_year;
    start.tm_mday = 1;
    start.tm_hour = 12;
    start.tm_isdst = -1;
    bool haveStandard = false;
    bool haveDaylight = false;
    long standardOffset = 0;
    long daylightOffset = 0;
    for (int half = 0; half < 24; ++half) {
        struct tm probe = start;
        probe.tm_mon = half / 2;
        probe.tm_mday = half % 2 == 0 ? 1 : 16;
        const time_t t = mktime(&probe);
        struct tm local {};
        if (t == static_cast<time_t>(-1) || localtime_r(&t, &local) == nullptr) {
            continue;
        }
        if (local.tm_isdst > 0) {
            if (!haveDaylight) {
                daylightOffset = local.tm_gmtoff;
                haveDaylight = true;
            }
        } else if (!haveStandard) {
            standardOffset = local.tm_gmtoff;
            haveStandard = true;
        }
    }
    if (!haveStandard && !haveDaylight) {
        errno = EINVAL;
        return false;
    }
    // A zone on daylight time all year round still has the current offset.
    if (!haveStandard) {
        standardOffset = tm.tm_gmtoff;
    }
    bias = static_cast<std::int32_t>(-standardOffset / 60);
    daylightBias = haveDaylight ? static_cast<std::int32_t>(-(daylightOffset - standardOffset) / 60) : 0;
    return true;
}

LocalTime localTimeNow()
{
    struct timespec ts {};
    clock_gettime(CLOCK_REALTIME, &ts);
    struct tm tm {};
    LocalTime out;
    if (localtime_r(&ts.tv_sec, &tm) == nullptr) {
        return out;
    }
    out.year = static_cast<std::uint16_t>(tm.tm_year + 1900);
    out.month = static_cast<std::uint16_t>(tm.tm_mon + 1);
    out.day = static_cast<std::uint16_t>(tm.tm_mday);
    out.hour = static_cast<std::uint16_t>(tm.tm_hour);
    out.minute = static_cast<std::uint16_t>(tm.tm_min);
    out.second = static_cast<std::uint16_t>(tm.tm_sec);
    out.milliseconds = static_cast<std::uint16_t>(ts.tv_nsec / 1000000);
    return out;
}

}  // namespace platform
