#include "platform/LocalZone.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <time.h>

namespace platform {

namespace {

// What a zone's offsets for the year are worked out from. The probes below
// cost two dozen conversions, each of which looks at the zone file again; a
// collection asks once a sample, so they are redone only when something that
// shows a change of zone or year has changed, and at least once a minute.
struct ZoneKey {
    std::string tz;
    std::string names[2];
    long timezone = 0;
    int daylight = 0;
    int year = 0;
    long offsetNow = 0;
    int isDstNow = 0;

    bool operator==(const ZoneKey&) const = default;
};

struct ZoneCache {
    bool valid = false;
    ZoneKey key;
    time_t computedAt = 0;
    std::int32_t bias = 0;
    std::int32_t daylightBias = 0;
};

bool probeZone(const struct tm& now, std::int32_t& bias, std::int32_t& daylightBias)
{
    // The zone database has no "standard" and "daylight" record of its own:
    // look at the offsets in force at points spread over the current year.
    struct tm start {};
    start.tm_year = now.tm_year;
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
        return false;
    }
    // A zone on daylight time all year round still has the current offset.
    if (!haveStandard) {
        standardOffset = now.tm_gmtoff;
    }
    bias = static_cast<std::int32_t>(-standardOffset / 60);
    daylightBias = haveDaylight ? static_cast<std::int32_t>(-(daylightOffset - standardOffset) / 60) : 0;
    return true;
}

}  // namespace

bool localZoneBias(std::int32_t& bias, std::int32_t& daylightBias)
{
    // Read TZ afresh so that a changed zone shows, as it does on Windows.
    tzset();
    const time_t now = time(nullptr);
    struct tm tm {};
    if (localtime_r(&now, &tm) == nullptr) {
        return false;
    }
    ZoneKey key;
    const char* tz = std::getenv("TZ");
    key.tz = tz == nullptr ? "\n" : tz;  // unset differs from empty
    key.names[0] = tzname[0] == nullptr ? "" : tzname[0];
    key.names[1] = tzname[1] == nullptr ? "" : tzname[1];
    key.timezone = ::timezone;
    key.daylight = ::daylight;
    key.year = tm.tm_year;
    key.offsetNow = tm.tm_gmtoff;
    key.isDstNow = tm.tm_isdst;

    // Per thread, so that no lock is needed; the conversions themselves are
    // safe to run side by side.
    thread_local ZoneCache cache;
    if (cache.valid && cache.key == key && now >= cache.computedAt && now - cache.computedAt < 60) {
        bias = cache.bias;
        daylightBias = cache.daylightBias;
        return true;
    }
    cache.valid = false;
    if (!probeZone(tm, cache.bias, cache.daylightBias)) {
        errno = EINVAL;
        return false;
    }
    cache.valid = true;
    cache.key = std::move(key);
    cache.computedAt = now;
    bias = cache.bias;
    daylightBias = cache.daylightBias;
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
