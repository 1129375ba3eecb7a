#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "logging/LogCapture.h"
#include "pdh/PdhProvider.h"
#include "pdh/ScriptedPdhProvider.h"
#include "pipeline/input/IResultOutput.h"
#include "pipeline/input/PerfMonitor.h"
#include "platform/Process.h"
#include "tests/pipeline/input/CountOf.h"

namespace {

const char* kWorld = R"(object Disk
counter Reads | 5
counter Idle | 0
counter Ops | rate | linear 0 10
instance C
object Proc
counter Threads | 3
instance init
instance late | from 3
instance blink | until 2
instance blink | from 4
)";

// Stops the loop it runs on once the output satisfies done, or after about
// five seconds (timedOut), so that no test can hang.
class Stopper : public PeriodicTimeout {
public:
    Stopper(PerfMonitor& monitor, std::function<bool()> done) : monitor(monitor), done(std::move(done)) {}
    void onTimeout() override
    {
        if (done() || ++checks > 500) {
            timedOut = checks > 500;
            monitor.stop();
        }
    }
    bool timedOut = false;

private:
    PerfMonitor& monitor;
    std::function<bool()> done;
    int checks = 0;
};

class PerfMonitorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::istringstream in(kWorld);
        std::string error;
        auto provider = ScriptedPdhProvider::load(in, "monitor.pdh", error);
        ASSERT_NE(provider, nullptr) << error;
        setPdhProvider(std::move(provider));
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        path = std::filesystem::temp_directory_path() /
               ("perfmon-" + std::to_string(platform::currentProcessId()) + "-" + info->name() + ".out");
        out = std::fopen(path.string().c_str(), "w+b");
        ASSERT_NE(out, nullptr);
        options.index = "main";
        monitor = std::make_unique<PerfMonitor>(&options);
        monitor->setOutput(out);
    }

    void TearDown() override
    {
        monitor.reset();
        setPdhProvider(nullptr);
        if (out != nullptr) {
            std::fclose(out);
        }
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }

    CollectionConfig& collection(const wchar_t* name, const wchar_t* object, const wchar_t* instances,
                                 const wchar_t* counters, std::uint32_t mode)
    {
        auto c = std::make_unique<CollectionConfig>();
        c->name = name;
        c->object = object;
        c->instances = instances;
        c->counters = counters;
        c->mode = mode;
        c->interval = 50;
        monitor->getCollections().push_back(c.get());
        records.push_back(std::move(c));
        return *records.back();
    }

    // Everything written so far, read through a handle of its own.
    std::string written() const
    {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    // Runs start until the output satisfies done; the answer of start.
    bool runUntil(std::function<bool(const std::string&)> done)
    {
        Stopper stopper(*monitor, [&] { return done(written()); });
        monitor->getEventLoop().schedule(stopper, 10);
        const bool result = monitor->start();
        monitor->getEventLoop().remove(stopper);
        EXPECT_FALSE(stopper.timedOut);
        return result;
    }

    PerfmonOptions options;
    std::unique_ptr<PerfMonitor> monitor;
    std::vector<std::unique_ptr<CollectionConfig>> records;
    std::filesystem::path path;
    std::FILE* out = nullptr;
};

TEST_F(PerfMonitorTest, StopFromAnotherThreadEndsARunInWhichRateValuesBeginOneIntervalLate)
{
    collection(L"disk", L"Disk", L"C", L"Reads;Ops", 1);
    std::atomic<bool> stopped{false};
    std::thread stopper([&] {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (countOf(written(), PERFMON_EVENT_MARKER) < 4 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        stopped = true;
        monitor->stop();
    });
    const bool result = monitor->start();
    stopper.join();
    EXPECT_TRUE(result);
    EXPECT_TRUE(stopped);

    const std::string text = written();
    const size_t second = text.find("***TOLVIK***", 1);
    ASSERT_NE(second, std::string::npos) << text;
    // The first sample has no rate yet; the second carries the value of collect 2.
    EXPECT_NE(text.substr(0, second).find("instance\tReads\t\nC\t5\t\n"), std::string::npos) << text;
    EXPECT_NE(text.substr(second).find("instance\tReads\tOps\t\nC\t5\t20\t\n"), std::string::npos) << text;
    EXPECT_EQ(text.rfind("***TOLVIK*** index=main source=\"PerfmonMk:disk\"", 0), 0u);
}

TEST_F(PerfMonitorTest, ZerosAreDroppedFromEventsButKeptInTablesAndDefaultIndexTakesTheCommandLine)
{
    collection(L"single", L"Disk", L"C", L"Reads;Idle", 0).index = "DEFAULT";
    collection(L"table", L"Disk", L"C", L"Reads;Idle", 1).index = "default";
    collection(L"own", L"Disk", L"C", L"Reads", 0).index = "Ö-index";
    EXPECT_TRUE(runUntil([](const std::string& text) {
        return text.find("Perfmon:single") != std::string::npos && text.find("PerfmonMk:table") != std::string::npos &&
               text.find("Perfmon:own") != std::string::npos;
    }));
    const std::string text = written();
    EXPECT_EQ(text.find("counter=Idle"), std::string::npos);
    EXPECT_NE(text.find("counter=Reads\ninstance=C\nValue=5\n"), std::string::npos);
    EXPECT_NE(text.find("instance\tReads\tIdle\t\nC\t5\t0\t\n"), std::string::npos);
    EXPECT_NE(text.find("index=main source=\"Perfmon:single\""), std::string::npos);
    EXPECT_NE(text.find("index=main source=\"PerfmonMk:table\""), std::string::npos);
    EXPECT_NE(text.find("index=Ö-index source=\"Perfmon:own\""), std::string::npos);
}

TEST_F(PerfMonitorTest, IntervalZeroSamplesOnceASecond)
{
    collection(L"zero", L"Disk", L"C", L"Reads", 0).interval = 0;
    collection(L"fast", L"Disk", L"C", L"Reads", 0);
    EXPECT_TRUE(runUntil([](const std::string& text) { return countOf(text, "Perfmon:fast") >= 8; }));
    // Taken as it stands, a zero interval samples at once (and again); taken
    // as a second, not before the other's first eight samples.
    EXPECT_LE(countOf(written(), "Perfmon:zero"), 1u);
}

TEST_F(PerfMonitorTest, WildcardRunAddsALateInstanceOnceAndNotOneThatReturns)
{
    collection(L"proc", L"Proc", L"*", L"Threads", 0);
    LogCapture capture;
    EXPECT_TRUE(runUntil([](const std::string& text) { return countOf(text, "instance=init\n") >= 8; }));
    const std::string text = written();
    const size_t ticks = countOf(text, "instance=init\n");
    // Listed from the third collect on, read from the fourth tick.
    EXPECT_EQ(countOf(text, "instance=late\n"), ticks - 3) << text;
    // Present at the first collect, gone at the second and third, back from the fourth.
    EXPECT_EQ(countOf(text, "instance=blink\n"), ticks - 2) << text;
    size_t late = 0;
    for (const auto& e : capture.entries()) {
        late += e.message.find("not originally present - \\Proc(late)\\Threads") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(late, 1u);
    EXPECT_FALSE(capture.contains("not originally present - \\Proc(blink)"));
}

TEST_F(PerfMonitorTest, CollectionWithAnInvalidObjectIsDroppedWhileOthersRun)
{
    collection(L"bad", L"Nope", L"*", L"x", 0);
    collection(L"good", L"Disk", L"C", L"Reads", 0);
    LogCapture capture;
    EXPECT_TRUE(runUntil([](const std::string& text) { return text.find("Perfmon:good") != std::string::npos; }));
    EXPECT_TRUE(capture.contains("The object specified - 'Nope' in stanza - 'bad' in conf file is not valid."));
    EXPECT_EQ(written().find("Perfmon:bad"), std::string::npos);
}

TEST_F(PerfMonitorTest, NothingToMonitorGivesFalseAndNoOutput)
{
    monitor->getCollections().push_back(nullptr);
    collection(L"bad", L"Nope", L"*", L"x", 0);
    collection(L"skipped", L"Disk", L"C", L"Reads", 0).skipped = 1;
    collection(L"nocounters", L"Disk", L"C", L"", 0);
    collection(L"interval", L"Disk", L"C", L"Reads", 0).interval = 4294967295LL;
    collection(L"refused", L"Disk", L"C", L"Nothing", 0);
    LogCapture capture;
    EXPECT_FALSE(monitor->start());
    EXPECT_EQ(written(), "");
    EXPECT_TRUE(capture.contains("Perfmon - invalid interval specified -1, Ignoring this query"));
    EXPECT_TRUE(capture.contains("Perfmon - Invalid counter - \\Disk(C)\\Nothing"));
    EXPECT_TRUE(capture.contains("Did not add any counter, counter list is empty.\n"));
    EXPECT_TRUE(capture.contains("Nothing to monitor, exiting..."));
    EXPECT_FALSE(capture.contains("Adding collection 'skipped'"));
}

TEST_F(PerfMonitorTest, InitSucceedsWithNoCollectionsAndModesNotBuiltYetRefuseToStart)
{
    EXPECT_TRUE(monitor->init());
    EXPECT_TRUE(monitor->getCollections().empty());
    collection(L"good", L"Disk", L"C", L"Reads", 0);
    options.useConfFile = 0;
    EXPECT_FALSE(monitor->start());
    options.useConfFile = 1;
    options.test = 1;
    EXPECT_FALSE(monitor->start());
    EXPECT_EQ(written(), "");
}

}  // namespace
