#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pipeline/input/PerfmonHelper.h"
#include "tests/pdh/ProcfsFakeRoot.h"

namespace {

// The monitor's own expansion and reading, through the PDH calls, over the provider.
TEST(ProcfsPerfmonHelper, RepeatedNamesAreNumberedAndRead)
{
    FakeRoot root;
    root.process(10, "bash", 1, 1000, 0, 0);
    root.process(20, "bash", 10, 2000, 0, 0);
    root.process(30, "sshd", 1, 3000, 0, 0);
    setPdhProvider(std::make_unique<ProcfsPdhProvider>(root.options()));

    EXPECT_TRUE(PerfmonHelper::isObjectValid(L"Process"));
    EXPECT_FALSE(PerfmonHelper::isObjectValid(L"Nothing"));
    std::map<std::wstring, std::int32_t> known;
    PerfmonHelper::getAllInstances(L"Process", known);
    EXPECT_EQ((std::map<std::wstring, std::int32_t>{{L"bash", 1}, {L"bash#1", 1}, {L"sshd", 1}, {L"_Total", 1}}),
              known);

    std::vector<CounterEntry> entries;
    PerfmonHelper::addWildCardToList(L"", L"\\Process(*)\\ID Process", entries);
    ASSERT_EQ(4u, entries.size());
    const PDH_HQUERY query = PerfmonHelper::initQueryHandle();
    for (CounterEntry& e : entries) {
        ASSERT_TRUE(PerfmonHelper::addPdhCounter(query, e)) << Str::fromWide(e.path);
    }
    ASSERT_EQ(0, pdh::PdhCollectQueryData(query));
    std::map<std::wstring, double> values;
    for (const CounterEntry& e : entries) {
        PDH_FMT_COUNTERVALUE v{};
        EXPECT_EQ(0, pdh::PdhGetFormattedCounterValue(e.handle, PDH_FMT_DOUBLE, nullptr, &v));
        values[e.instance] = v.doubleValue;
    }
    EXPECT_EQ((std::map<std::wstring, double>{{L"bash", 10}, {L"bash#1", 20}, {L"sshd", 30}, {L"_Total", 0}}),
              values);
    EXPECT_FALSE(PerfmonHelper::getCounterDescription(entries[0].handle).empty());
    setPdhProvider(nullptr);
}

}  // namespace
