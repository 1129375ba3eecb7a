#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/Str.h"

// A point in time: 100-nanosecond ticks since 1601-01-01 00:00 UTC (the
// FILETIME scale). Arithmetic saturates at MIN_TIME and MAX_TIME instead of
// wrapping, so "never" stays never and "null" stays null.
class Timeval {
public:
    static constexpr uint64_t TICKS_PER_MICROSECOND = 10;
    static constexpr uint64_t TICKS_PER_MILLISECOND = 10000;
    static constexpr uint64_t TICKS_PER_SECOND = 10000000;

    uint64_t ticks = 0;

    constexpr Timeval() = default;
    constexpr explicit Timeval(uint64_t t) : ticks(t) {}

    static Timeval now();
    void setNow();

    // Unix conversion. Seconds before 1601 give MIN_TIME, beyond the scale MAX_TIME.
    static Timeval fromUnixTime(int64_t seconds);
    static Timeval fromUnixTimeNanos(int64_t seconds, uint32_t nanos);
    // Whole seconds since 1970; times before the epoch give 0.
    int64_t toUnixTime() const;
    // Whole seconds since 1970, rounded down, negative before the epoch.
    int64_t unixSeconds() const;
    bool isBeforeUnixEpoch() const;
    // Replaces the whole seconds and keeps the fraction.
    void setUnixSeconds(int64_t seconds);

    // Fraction of the second.
    uint32_t milliseconds() const { return static_cast<uint32_t>((ticks / TICKS_PER_MILLISECOND) % 1000); }
    uint32_t microseconds() const { return static_cast<uint32_t>((ticks / TICKS_PER_MICROSECOND) % 1000000); }
    uint32_t nanoseconds() const { return static_cast<uint32_t>((ticks % TICKS_PER_SECOND) * 100); }
    void setMilliseconds(uint32_t ms);
    void setMicroseconds(uint32_t us);

    // Saturating arithmetic.
    Timeval& addTicks(uint64_t n);
    Timeval& subTicks(uint64_t n);
    Timeval& addMicroseconds(uint64_t n);
    Timeval& subMicroseconds(uint64_t n);
    Timeval& addMilliseconds(uint64_t n);
    Timeval& subMilliseconds(uint64_t n);
    Timeval& addSeconds(uint64_t n);
    Timeval& subSeconds(uint64_t n);

    // Differences, this minus a, signed.
    int64_t ticksSince(Timeval a) const { return static_cast<int64_t>(ticks - a.ticks); }
    int64_t microsecondsSince(Timeval a) const { return ticksSince(a) / 10; }
    // Rounded up, so that a wait of this length never ends early.
    int64_t millisecondsUntil(Timeval a) const { return (ticksSince(a) + 9999) / 10000; }
    int64_t secondsSince(Timeval a) const { return ticksSince(a) / 10000000; }
    // (a - b) in seconds.
    static double secondsBetween(Timeval a, Timeval b);

    // Align down to a multiple of n units.
    void truncateToSeconds(uint64_t n);
    void truncateToMilliseconds(uint64_t n);
    void truncateToMicroseconds(uint64_t n);

    // A span of x seconds as ticks, truncated and clamped to the scale.
    static Timeval fromSeconds(double x);

    // Text forms.
    // "MAX_TIME", "MIN_TIME", or the local time as asctime writes it, without the newline.
    Str toString() const;
    // Appends the Unix seconds and, for digits > 0, a dot and that many digits of the fraction.
    void toUnixString(std::string& out, int digits) const;
    // Digits with an optional fraction; no sign, no blanks. False leaves the value unchanged.
    bool fromUnixString(std::string_view text);
    // 14 base-32 characters that sort as the times do.
    Str toSortableString() const;
    bool fromSortableString(std::string_view text);

    // A span such as "10s", "5 minutes", "250ms" to milliseconds. A number without a
    // word means seconds, a word without a number means one of it.
    static bool parseDurationMs(std::string_view text, uint64_t& out);
    // Appends seconds and, if there is a remainder, ".%03u" milliseconds.
    static void formatMilliseconds(std::string& out, uint64_t ms);

    friend constexpr bool operator==(Timeval a, Timeval b) = default;
    friend constexpr auto operator<=>(Timeval a, Timeval b) = default;
};

inline constexpr Timeval MIN_TIME{0};
inline constexpr Timeval MAX_TIME{0xFFFFFFFFFFFFFFFFull};
// 1970-01-01 00:00 UTC.
inline constexpr uint64_t UNIX_EPOCH_TICKS = 0x019DB1DED53E8000ull;
