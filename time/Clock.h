#pragma once

#include "time/Timeval.h"

// Where "now" comes from. Code that waits or schedules takes an IClock so
// that tests can drive time by hand.
class IClock {
public:
    virtual ~IClock() = default;
    virtual Timeval now() const = 0;
};

// The system clock.
class SystemClock final : public IClock {
public:
    Timeval now() const override;
    static SystemClock& instance();
};

// A clock that moves only when told to.
class ManualClock final : public IClock {
public:
    explicit ManualClock(Timeval start = Timeval::fromUnixTime(1000000000)) : current_(start) {}

    Timeval now() const override { return current_; }
    void set(Timeval t) { current_ = t; }
    void advanceMilliseconds(uint64_t ms) { current_.addMilliseconds(ms); }

private:
    Timeval current_;
};
