#include <gtest/gtest.h>

#include <cstdint>

#include "platform/Clock.h"
#include "platform/LocalZone.h"

namespace {

// Local time as minutes since the epoch, from its broken-down fields.
std::int64_t minutesOf(int year, int month, int day, int hour, int minute)
{
    // Days from civil date (proleptic Gregorian).
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yoe = year - era * 400;
    const std::int64_t doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return ((era * 146097 + doe - 719468) * 24 + hour) * 60 + minute;
}

TEST(LocalZone, LocalTimeDiffersFromUtcByTheStandardOrDaylightBias)
{
    std::int32_t bias = 0;
    std::int32_t daylightBias = 0;
    ASSERT_TRUE(platform::localZoneBias(bias, daylightBias));
    EXPECT_GE(bias, -14 * 60);
    EXPECT_LE(bias, 12 * 60);

    // Retry if a minute boundary falls between the two readings.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const std::int64_t before = static_cast<std::int64_t>(platform::systemTimeTicks() / 600000000ull);
        const platform::LocalTime now = platform::localTimeNow();
        const std::int64_t after = static_cast<std::int64_t>(platform::systemTimeTicks() / 600000000ull);
        if (before != after) {
            continue;
        }
        EXPECT_GE(now.month, 1);
        EXPECT_LE(now.month, 12);
        EXPECT_LE(now.milliseconds, 999);
        // Minutes since 1601 to minutes since 1970.
        const std::int64_t utc = before - 11644473600LL / 60;
        const std::int64_t offset = minutesOf(now.year, now.month, now.day, now.hour, now.minute) - utc;
        EXPECT_TRUE(offset == -bias || offset == -(bias + daylightBias))
            << "offset " << offset << " bias " << bias << " daylight " << daylightBias;
        return;
    }
    FAIL() << "clock kept crossing minute boundaries";
}

}  // namespace
