#pragma once

#include <cstdint>

// The local time zone and the local time, as event timestamps need them.
namespace platform {

// Minutes to add to local standard time to get UTC (west of Greenwich is
// positive), and minutes to add to that during daylight saving time (0 for a
// zone without it). False, with the last OS error set, if the system can't say.
bool localZoneBias(std::int32_t& bias, std::int32_t& daylightBias);

struct LocalTime {
    std::uint16_t year = 0;
    std::uint16_t month = 0;  // 1-12
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t milliseconds = 0;
};

// Now, in the local zone, to the millisecond.
LocalTime localTimeNow();

}  // namespace platform
