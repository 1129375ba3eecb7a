#pragma once

#include <cstdint>
#include <ctime>

#include "time/Timeval.h"

// Broken-down time, one class per interpretation. A conversion the run time
// refuses logs a warning and yields a valid substitute instead of failing the
// caller: 1900-01-01 00:00:00 for times before 1970, 9999-12-31 23:59:59 for
// times beyond the year 3000. Going back, a refused conversion gives MIN_TIME
// or MAX_TIME, by which side of 1970 the year lies.

// Seconds since 1970 that the conversions accept on every platform.
bool structTmSecondsInRange(int64_t seconds);

class GmtStructTm : public std::tm {
public:
    GmtStructTm();
    explicit GmtStructTm(Timeval t) : GmtStructTm() { fromTimeval(t); }

    void fromUnixTime(int64_t seconds);
    void fromTimeval(Timeval t);
    // Own calendar arithmetic, fields normalised as timegm would.
    Timeval toTimeval() const;

    // The conversion alone, without the substitute; false when refused.
    static bool convert(int64_t seconds, std::tm& out);
};

class LocalStructTm : public std::tm {
public:
    LocalStructTm();
    explicit LocalStructTm(Timeval t) : LocalStructTm() { fromTimeval(t); }

    void fromUnixTime(int64_t seconds);
    void fromTimeval(Timeval t);
    Timeval toTimeval() const;

    static bool convert(int64_t seconds, std::tm& out);
};

class LocalStructTmHires : public std::tm {
public:
    // Ticks within the second, 0 to 9999999.
    uint32_t fraction = 0;

    LocalStructTmHires();
    explicit LocalStructTmHires(Timeval t) : LocalStructTmHires() { fromTimeval(t); }

    void fromTimeval(Timeval t);
    Timeval toTimeval() const;
};
