#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "pdh/PdhProvider.h"

// The system's pdh.dll behind the seam, with the calls that every PDH serves
// (Wine's implements little more).
TEST(SystemPdhProvider, ReadsProcessorTimeThroughTheSeam)
{
    std::string error;
    auto provider = makeSystemPdhProvider(error);
    ASSERT_NE(provider, nullptr) << error;
    setPdhProvider(std::move(provider));

    PDH_HQUERY query = nullptr;
    ASSERT_EQ(pdh::PdhOpenQueryA(nullptr, 0, &query), 0);
    PDH_HCOUNTER counter = nullptr;
    ASSERT_EQ(pdh::PdhAddCounterW(query, L"\\Processor(_Total)\\% Processor Time", 0, &counter), 0);
    PDH_HCOUNTER unknown = nullptr;
    EXPECT_NE(pdh::PdhAddCounterW(query, L"\\No Such Object\\Nothing", 0, &unknown), 0);
    ASSERT_EQ(pdh::PdhCollectQueryData(query), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_EQ(pdh::PdhCollectQueryData(query), 0);
    PDH_FMT_COUNTERVALUE value{};
    ASSERT_EQ(pdh::PdhGetFormattedCounterValue(counter, PDH_FMT_DOUBLE, nullptr, &value), 0);
    EXPECT_GE(value.doubleValue, 0.0);
    EXPECT_LE(value.doubleValue, 100.0);
    EXPECT_EQ(pdh::PdhCloseQuery(query), 0);
    setPdhProvider(nullptr);
}
