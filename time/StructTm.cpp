#include "time/StructTm.h"

#include "logging/Logger.h"
#include "platform/Clock.h"

namespace {

constexpr int MAX_TM_YEAR = 1099;

bool inRange(int64_t seconds)
{
    return structTmSecondsInRange(seconds);
}

bool yearInRange(const std::tm& tm)
{
    return tm.tm_year >= 0 && tm.tm_year <= MAX_TM_YEAR;
}

Logger logger("Timeval", false, 60, 100);

void warnFromFailed(const char* name, int64_t seconds)
{
    logWarn(logger, "%s(%lld) failed!", name, static_cast<long long>(seconds));
}

void warnToFailed(const char* name, const std::tm& tm)
{
    logWarn(logger, "%s(%d-%d-%d %d:%02d:%02d) failed!", name, tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
            tm.tm_hour, tm.tm_min, tm.tm_sec);
}

// A valid time on the side of the range that the refused one lies.
void substitute(std::tm& tm, int64_t seconds)
{
    if (seconds < 0) {
        tm.tm_year = 0; // 1900-01-01 00:00:00, a Monday
        tm.tm_mon = 0;
        tm.tm_mday = 1;
        tm.tm_hour = 0;
        tm.tm_min = 0;
        tm.tm_sec = 0;
        tm.tm_wday = 1;
        tm.tm_yday = 0;
    } else {
        tm.tm_year = 8099; // 9999-12-31 23:59:59, a Friday
        tm.tm_mon = 11;
        tm.tm_mday = 31;
        tm.tm_hour = 23;
        tm.tm_min = 59;
        tm.tm_sec = 59;
        tm.tm_wday = 5;
        tm.tm_yday = 364;
    }
    tm.tm_isdst = -1;
}

// A refused local conversion may leave the run time's zone state unset,
// which later formatting of zone names relies on.
void initLocalZone()
{
    std::tm scratch {};
    platform::localTime(86400, scratch);
}

Timeval failedTo(const char* name, const std::tm& tm)
{
    warnToFailed(name, tm);
    return tm.tm_year >= 70 ? MAX_TIME : MIN_TIME;
}

bool localToUnix(const std::tm& in, int64_t& seconds)
{
    if (!yearInRange(in))
        return false;
    std::tm copy = in;
    return platform::localMkTime(copy, seconds) && inRange(seconds);
}

int64_t floorDiv(int64_t a, int64_t b)
{
    int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// Days since 1970-01-01 of a proleptic Gregorian date; month 1 to 12.
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d)
{
    y -= m <= 2;
    int64_t era = floorDiv(y, 400);
    int64_t yoe = y - era * 400;
    int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

} // namespace

GmtStructTm::GmtStructTm() : std::tm {} {}

void GmtStructTm::fromUnixTime(int64_t seconds)
{
    if (!convert(seconds, *this)) {
        warnFromFailed("GmtStructTm::fromUnixTime", seconds);
        substitute(*this, seconds);
    }
}

void GmtStructTm::fromTimeval(Timeval t)
{
    fromUnixTime(t.unixSeconds());
}

Timeval GmtStructTm::toTimeval() const
{
    if (!yearInRange(*this))
        return failedTo("GmtStructTm::toUnixTime", *this);
    int64_t year = 1900 + static_cast<int64_t>(tm_year) + floorDiv(tm_mon, 12);
    int64_t month = tm_mon - floorDiv(tm_mon, 12) * 12;
    int64_t days = daysFromCivil(year, month + 1, 1) + tm_mday - 1;
    return Timeval::fromUnixTime(days * 86400 + static_cast<int64_t>(tm_hour) * 3600
                                 + static_cast<int64_t>(tm_min) * 60 + tm_sec);
}

LocalStructTm::LocalStructTm() : std::tm {} {}

void LocalStructTm::fromUnixTime(int64_t seconds)
{
    if (!convert(seconds, *this)) {
        warnFromFailed("LocalStructTm::fromUnixTime", seconds);
        initLocalZone();
        substitute(*this, seconds);
    }
}

void LocalStructTm::fromTimeval(Timeval t)
{
    fromUnixTime(t.unixSeconds());
}

Timeval LocalStructTm::toTimeval() const
{
    int64_t seconds;
    if (!localToUnix(*this, seconds))
        return failedTo("LocalStructTm::toUnixTime", *this);
    return Timeval::fromUnixTime(seconds);
}

LocalStructTmHires::LocalStructTmHires() : std::tm {} {}

void LocalStructTmHires::fromTimeval(Timeval t)
{
    int64_t seconds = t.unixSeconds();
    if (LocalStructTm::convert(seconds, *this)) {
        fraction = static_cast<uint32_t>(t.ticks % Timeval::TICKS_PER_SECOND);
        return;
    }
    warnFromFailed("LocalStructTmHires::fromUnixTime", seconds);
    initLocalZone();
    substitute(*this, seconds);
    fraction = seconds < 0 ? 0 : 9999999;
}

Timeval LocalStructTmHires::toTimeval() const
{
    int64_t seconds;
    if (!localToUnix(*this, seconds))
        return failedTo("LocalStructTmHires::toUnixTime", *this);
    return Timeval::fromUnixTime(seconds).addTicks(fraction);
}
