#include <gtest/gtest.h>

#include <cstdint>
#include <cwchar>
#include <string>

#include "platform/LocalZone.h"
#include "platform/Process.h"

namespace {

struct Biases {
    std::int32_t bias;
    std::int32_t daylightBias;
};

// The zone named by TZ, the way Windows would describe it.
Biases biasesOf(const wchar_t* zone)
{
    const std::wstring saved = platform::getEnvironmentVariable(L"TZ");
    platform::setEnvironmentVariable(L"TZ", zone);
    Biases b{12345, 12345};
    const bool ok = platform::localZoneBias(b.bias, b.daylightBias);
    platform::setEnvironmentVariable(L"TZ", saved);
    EXPECT_TRUE(ok) << "zone " << std::string(zone, zone + std::wcslen(zone));
    return b;
}

TEST(LocalZoneTz, StandardAndDaylightOffsetsOfTheZoneDatabase)
{
    auto check = [](const wchar_t* zone, std::int32_t bias, std::int32_t daylightBias) {
        const Biases b = biasesOf(zone);
        EXPECT_EQ(b.bias, bias) << std::string(zone, zone + std::wcslen(zone));
        EXPECT_EQ(b.daylightBias, daylightBias) << std::string(zone, zone + std::wcslen(zone));
    };
    check(L"UTC", 0, 0);
    check(L"America/New_York", 300, -60);
    check(L"Asia/Kolkata", -330, 0);
    check(L"Australia/Sydney", -600, -60);      // daylight time spans the new year
    check(L"Australia/Lord_Howe", -630, -30);   // half an hour of daylight saving
}

}  // namespace
