#pragma once

#include <cstdint>
#include <ctime>

namespace platform {

// The system clock as 100-nanosecond ticks since 1601-01-01 00:00 UTC.
uint64_t systemTimeTicks();

// Unix seconds to broken-down GMT or local time through the run time.
// False when the run time refuses; callers check their own bounds first.
bool gmTime(int64_t seconds, std::tm& out);
bool localTime(int64_t seconds, std::tm& out);

// Broken-down local time to Unix seconds (mktime); the input is normalised.
// False when it won't convert.
bool localMkTime(std::tm& in, int64_t& seconds);

void sleepMilliseconds(uint32_t ms);

} // namespace platform
