#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>

#include "pdh/PdhProvider.h"
#include "pdh/ScriptedPdhProvider.h"
#include "pipeline/input/PerfmonHelper.h"
#include "pipeline/input/PeriodicDataCollector.h"

// Live allocations of this program, counted by its own global operator new.
namespace {
std::atomic<long long> liveAllocations{0};
}

void* operator new(std::size_t size)
{
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    liveAllocations.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void operator delete(void* p) noexcept
{
    if (p != nullptr) {
        liveAllocations.fetch_sub(1, std::memory_order_relaxed);
        std::free(p);
    }
}

void operator delete(void* p, std::size_t) noexcept
{
    operator delete(p);
}

namespace {

// Ten instances that come and go in staggered windows through the whole run,
// and a counter that PDH only takes as an array.
std::string churningWorld(int collects)
{
    std::string script = "object Proc\ncounter Threads | linear 1 1\ncounter Rate | rate | 7\ncounter Handles | 9\n";
    script += "instance steady\n";
    for (int k = 0; k < 10; ++k) {
        for (int start = k * 20; start < collects; start += 200) {
            script += "instance p" + std::to_string(k) + " | from " + std::to_string(start) + " | until " +
                      std::to_string(start + 100) + "\n";
        }
    }
    script += "fail PdhAddCounterW | on \\Proc(steady)\\Handles | 0xC0000BB9\n";
    return script;
}

TEST(CollectorSoak, TenThousandTicksWithChurningInstancesHoldNoMoreMemoryAfterWarmUp)
{
    constexpr int ticks = 10000;
    std::istringstream in(churningWorld(ticks + 10));
    std::string error;
    auto provider = ScriptedPdhProvider::load(in, "soak.pdh", error);
    ASSERT_NE(provider, nullptr) << error;
    setPdhProvider(std::move(provider));
    std::FILE* out = std::tmpfile();
    ASSERT_NE(out, nullptr);

    PerfmonOptions options;
    const std::vector<std::wstring> counters{L"Threads", L"Rate", L"Handles"};
    std::map<std::wstring, std::int32_t> known;
    PerfmonHelper::getAllInstances(L"Proc", known);
    {
        PeriodicDataCollector collector(L"soak", L"", 1, 1000, true, known, counters);
        collector.setOptions(&options);
        collector.setOutput(out);
        for (const auto& [instance, one] : known) {
            for (const auto& counter : counters) {
                std::vector<CounterEntry> list;
                PerfmonHelper::addCounterToList(L"Proc", instance, counter, list);
                collector.addCounter(list.front());
            }
        }

        // Every instance has been seen by tick 200; measure from well after.
        long long low = 0;
        long long high = 0;
        for (int i = 1; i <= ticks; ++i) {
            collector.tick();
            if (i % 500 == 0) {
                std::rewind(out);  // keep the output file small
                if (i >= 1000) {
                    const long long live = liveAllocations.load();
                    low = i == 1000 ? live : std::min(low, live);
                    high = i == 1000 ? live : std::max(high, live);
                }
            }
        }
        EXPECT_EQ(collector.getKnownInstances().size(), 11u);
        EXPECT_EQ(collector.getEntries().size(), 33u);
        EXPECT_EQ(high, low) << "live allocations grew from " << low << " to " << high;
    }
    std::fclose(out);
    setPdhProvider(nullptr);
}

}  // namespace
