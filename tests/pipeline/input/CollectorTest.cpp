#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "logging/LogCapture.h"
#include "pdh/PdhProvider.h"
#include "pdh/ScriptedPdhProvider.h"
#include "pipeline/input/PerfmonCollect.h"
#include "pipeline/input/PerfmonHelper.h"
#include "pipeline/input/PeriodicDataCollector.h"
#include "tests/pipeline/input/CountOf.h"

namespace {

const char* kWorld = R"(object Disk
counter Reads | 5
counter Idle | 0
instance C
instance D
object Proc
counter Threads | 3
instance init
instance late | from 3
instance blink | until 2
instance blink | from 4
)";

class CollectorTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        setPdhProvider(nullptr);
        if (file != nullptr) {
            std::fclose(file);
        }
    }

    void world(const std::string& extra = "")
    {
        std::istringstream in(std::string(kWorld) + extra);
        std::string error;
        auto provider = ScriptedPdhProvider::load(in, "collector.pdh", error);
        ASSERT_NE(provider, nullptr) << error;
        setPdhProvider(std::move(provider));
        file = std::tmpfile();
        ASSERT_NE(file, nullptr);
    }

    // A collector over the given instances and counters of object, as start builds one.
    std::unique_ptr<PeriodicDataCollector> collector(const std::wstring& object, std::vector<std::wstring> instances,
                                                     std::vector<std::wstring> counters, std::uint32_t mode,
                                                     bool wildcard = false)
    {
        std::map<std::wstring, std::int32_t> known;
        if (wildcard) {
            PerfmonHelper::getAllInstances(object, known);
            instances.clear();
            for (const auto& [name, one] : known) {
                instances.push_back(name);
            }
        } else {
            for (const auto& name : instances) {
                known[name] = 1;
            }
        }
        auto c = std::make_unique<PeriodicDataCollector>(L"coll", L"", mode, 50, wildcard, known, counters);
        c->setOptions(&options);
        c->setOutput(file);
        for (const auto& i : instances) {
            for (const auto& n : counters) {
                std::vector<CounterEntry> list;
                PerfmonHelper::addCounterToList(object, i, n, list);
                list.front().index = "idx";
                c->addCounter(list.front());
            }
        }
        return c;
    }

    // What was written since the last call.
    std::string output()
    {
        std::fflush(file);
        const long end = std::ftell(file);
        std::string text(static_cast<size_t>(end - consumed), '\0');
        std::fseek(file, consumed, SEEK_SET);
        const size_t got = std::fread(text.data(), 1, text.size(), file);
        text.resize(got);
        std::fseek(file, 0, SEEK_END);
        consumed = end;
        return text;
    }

    PerfmonOptions options;
    std::FILE* file = nullptr;
    long consumed = 0;
};

TEST(CollectorTimestamp, WholeHoursWithTheDaylightBiasInEverySeason)
{
    platform::LocalTime t;
    t.year = 2012;
    t.month = 3;
    t.day = 4;
    t.hour = 5;
    t.minute = 6;
    t.second = 7;
    t.milliseconds = 8;
    EXPECT_EQ(PerfmonHelper::formatTimestamp(t, -330, 0), "\n03/04/2012 05:06:07.008 +0500\n");
    EXPECT_EQ(PerfmonHelper::formatTimestamp(t, 480, -60), "\n03/04/2012 05:06:07.008 -0700\n");
    EXPECT_EQ(PerfmonHelper::formatTimestamp(t, 0, 0), "\n03/04/2012 05:06:07.008 +0000\n");
    EXPECT_EQ(PerfmonHelper::formatTimestamp(t, -60, -60), "\n03/04/2012 05:06:07.008 +0200\n");
    EXPECT_EQ(PerfmonHelper::formatTimestamp(t, 570, 0), "\n03/04/2012 05:06:07.008 -0900\n");
}

TEST_F(CollectorTest, ZerosGoOnlyWithShowZeroAndUnchangedMeansEqualToZero)
{
    world();
    auto c = collector(L"Disk", {L"C"}, {L"Reads", L"Idle"}, 0);
    ASSERT_EQ(c->getEntries().size(), 2u);
    EXPECT_EQ(c->getEntries()[0].collection, L"coll");
    c->tick();
    std::string first = output();
    EXPECT_EQ(countOf(first, "Value="), 1u) << first;
    EXPECT_NE(first.find("counter=Reads\ninstance=C\nValue=5\n"), std::string::npos) << first;

    options.showZero = 1;
    c->tick();
    EXPECT_NE(output().find("counter=Idle\ninstance=C\nValue=0\n"), std::string::npos);

    // The kept entries' last value stays 0.0, so only zeros count as unchanged.
    options.displayIfChanged = 1;
    c->tick();
    std::string third = output();
    EXPECT_EQ(countOf(third, "Value="), 1u) << third;
    EXPECT_NE(third.find("counter=Reads"), std::string::npos);
}

TEST_F(CollectorTest, RefusedCounterIsReadAsAnArrayUnderItsConfiguredInstance)
{
    world("fail PdhAddCounterW | on \\Disk(C)\\Reads | 0xC0000BB9\n");
    auto c = collector(L"Disk", {L"C"}, {L"Reads"}, 0);
    ASSERT_EQ(c->getEntries().size(), 1u);
    c->tick();
    std::string text = output();
    // One event per array item, each with the configured instance and no counter.
    EXPECT_EQ(countOf(text, "counter=\ninstance=C\nValue=5\n"), 2u) << text;
    EXPECT_NE(text.find("index= source"), std::string::npos);
}

TEST_F(CollectorTest, FailedSampleWritesNothingAndLogsByStatus)
{
    world("fail PdhCollectQueryData | at 1 | 0x800007D5\n"
          "fail PdhCollectQueryData | at 2 | 0xC0000BBC\n"
          "fail PdhGetFormattedCounterValue | on \\Disk(D)\\Reads | 0xC0000BDB\n");
    auto c = collector(L"Disk", {L"C", L"D"}, {L"Reads"}, 0);
    LogCapture capture;
    c->tick();
    EXPECT_TRUE(capture.contains("No data has been collected for query for object '\\Disk(C)\\Reads'.\n"));
    EXPECT_TRUE(capture.contains("No data has been collected for query for object '\\Disk(D)\\Reads'.\n"));
    c->tick();
    EXPECT_TRUE(capture.contains("PerfmonHelper::collectQueryData: PdhCollectQueryData failed with status "
                                 "(0xc0000bbc) for counter '\\Disk(C)\\Reads'.\n"));
    EXPECT_EQ(output(), "");

    // A value read that fails loudly costs that value only.
    capture.clear();
    c->tick();
    std::string text = output();
    EXPECT_EQ(countOf(text, "Value="), 1u);
    EXPECT_NE(text.find("instance=C"), std::string::npos);
    EXPECT_TRUE(capture.contains("PdhGetFormattedCounterValue for counter '\\Disk(D)\\Reads' failed with status "
                                 "(0xc0000bdb)"));
}

TEST_F(CollectorTest, WildcardCollectionAddsLateInstancesOnceAndKeepsVanishedOnes)
{
    world();
    auto c = collector(L"Proc", {}, {L"Threads"}, 0, true);
    ASSERT_EQ(c->getEntries().size(), 2u);  // init, blink
    LogCapture capture;
    for (int i = 0; i < 8; ++i) {
        c->tick();
    }
    EXPECT_TRUE(capture.contains(
        "\nQuerying the following performance counter not originally present - \\Proc(late)\\Threads\n"));
    // blink went away at the second collect and came back at the fourth.
    EXPECT_EQ(c->getEntries().size(), 3u);
    EXPECT_EQ(c->getKnownInstances().size(), 3u);
}

}  // namespace
