#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "logging/LogCapture.h"
#include "pdh/PdhProvider.h"
#include "pdh/ScriptedPdhProvider.h"
#include "pipeline/input/PerfmonHelper.h"
#include "platform/Process.h"

using namespace PerfmonHelper;

namespace {

const char* kScript = R"(object Processor
counter % Processor Time | rate | explain Share of time busy
counter % User Time
instance 0
instance _Total
object Memory
counter Available Bytes | 1024
counter Pages/sec
object Process
counter ID Process
counter Handle Count
instance w
instance x
instance w
instance w
object Empty | instances
counter Count
object Secret
counter c
fail PdhEnumObjectItemsW | on Secret | 0xC0000BDB
)";

class PerfmonHelperTest : public ::testing::Test {
protected:
    void SetUp() override { use(""); }
    void TearDown() override { setPdhProvider(nullptr); }

    void use(const std::string& extra)
    {
        std::istringstream in(std::string(kScript) + extra);
        std::string error;
        auto provider = ScriptedPdhProvider::load(in, "helper.pdh", error);
        ASSERT_NE(provider, nullptr) << error;
        setPdhProvider(std::move(provider));
    }

    static std::vector<std::wstring> field(const std::vector<CounterEntry>& list, std::wstring CounterEntry::*member)
    {
        std::vector<std::wstring> out;
        for (const CounterEntry& e : list) {
            out.push_back(e.*member);
        }
        return out;
    }

    LogCapture capture;
};

using W = std::vector<std::wstring>;

}  // namespace

TEST_F(PerfmonHelperTest, BuildCounterPath)
{
    EXPECT_EQ(buildCounterPath(L"Processor", L" _Total", L"\t% User Time"), L"\\Processor(_Total)\\% User Time");
    EXPECT_EQ(buildCounterPath(L"Memory", L"", L"Available Bytes"), L"\\Memory\\Available Bytes");
    EXPECT_EQ(buildCounterPath(L"", L"a", L"b"), L"");
    EXPECT_EQ(buildCounterPath(L"a", L"b", L""), L"");
}

TEST_F(PerfmonHelperTest, AddCounterToListTrimsOnlyWithAnInstanceAndSplitsFullPaths)
{
    std::vector<CounterEntry> list;
    addCounterToList(L"Processor", L" b", L" % User Time", list);
    addCounterToList(L"Memory", L"", L" Pages/sec", list);
    addCounterToList(L"\\\\host\\Process(w#2)\\ID Process", L"", L"", list);
    addCounterToList(L"\\Memory\\Available Bytes", L"", L"", list);
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(field(list, &CounterEntry::path), (W{L"\\Processor(b)\\% User Time", L"\\Memory\\ Pages/sec",
                                                  L"\\\\host\\Process(w#2)\\ID Process", L"\\Memory\\Available Bytes"}));
    EXPECT_EQ(field(list, &CounterEntry::instance), (W{L"b", L"", L"w", L""}));
    EXPECT_EQ(field(list, &CounterEntry::counter), (W{L"% User Time", L" Pages/sec", L"ID Process", L"Available Bytes"}));
    EXPECT_EQ(field(list, &CounterEntry::object), (W{L"Processor", L"Memory", L"Process", L"Memory"}));
    EXPECT_EQ(list[0].lastValue, 0.0);
    EXPECT_EQ(list[0].handle, nullptr);

    addCounterToList(L"Memory", L"", L"", list);
    addCounterToList(L"\\Memory\\", L"", L"", list);
    EXPECT_EQ(list.size(), 4u);
    EXPECT_TRUE(capture.contains(
        "PdhParseCounterPath returned error 0xc0000bc4 or there are no counters to be monitored for 'Memory'.\n"));
    EXPECT_TRUE(capture.contains(
        "PdhParseCounterPath returned error 0x0 or there are no counters to be monitored for '\\Memory\\'.\n"));
}

TEST_F(PerfmonHelperTest, InstancesAreNumberedInPdhOrder)
{
    std::map<std::wstring, std::int32_t> known;
    getAllInstances(L"Process", known);
    EXPECT_EQ(known, (std::map<std::wstring, std::int32_t>{{L"w", 1}, {L"w#1", 1}, {L"w#2", 1}, {L"x", 1}}));
    known.clear();
    getAllInstances(L"Empty", known);
    getAllInstances(L"Memory", known);
    getAllInstances(L"", known);
    EXPECT_TRUE(known.empty());
    getAllInstances(L"Nothing", known);
    EXPECT_TRUE(known.empty());
    EXPECT_TRUE(capture.contains("PdhEnumObjectItems returned error 0xc0000bb8 for object 'Nothing'.\n"));

    std::vector<Str> counters, instances;
    ASSERT_TRUE(enumObjectByNameEx(L"", L"Process", counters, instances));
    EXPECT_EQ(counters, (std::vector<Str>{"ID Process", "Handle Count"}));
    EXPECT_EQ(instances, (std::vector<Str>{"w", "x", "w#1", "w#2"}));

    std::vector<std::wstring> all;
    getAllCounters(L"Memory", all);
    EXPECT_EQ(all, (W{L"Available Bytes", L"Pages/sec"}));
}

TEST_F(PerfmonHelperTest, EnumObjectByNameExExpandsWildcards)
{
    // All instances of one counter; numbering as PDH lists them.
    std::vector<CounterEntry> list;
    enumObjectByNameEx(L"", L"Process", L"ID Process", L"*", list);
    EXPECT_EQ(field(list, &CounterEntry::path),
              (W{L"\\Process(w)\\ID Process", L"\\Process(x)\\ID Process", L"\\Process(w#1)\\ID Process",
                 L"\\Process(w#2)\\ID Process"}));

    // All counters at one instance.
    list.clear();
    enumObjectByNameEx(L"", L"Processor", L"*", L"_Total", list);
    EXPECT_EQ(field(list, &CounterEntry::path),
              (W{L"\\Processor(_Total)\\% Processor Time", L"\\Processor(_Total)\\% User Time"}));

    // The whole object, counter by counter, numbering restarting for each.
    list.clear();
    enumObjectByNameEx(L"", L"Process", L"", L"", list);
    EXPECT_EQ(field(list, &CounterEntry::instance), (W{L"w", L"x", L"w#1", L"w#2", L"w", L"x", L"w#1", L"w#2"}));
    EXPECT_EQ(list[4].counter, L"Handle Count");

    // No instances: entries without one; a multi-instance object with none present: nothing.
    list.clear();
    enumObjectByNameEx(L"", L"Memory", L"*", L"*", list);
    EXPECT_EQ(field(list, &CounterEntry::path), (W{L"\\Memory\\Available Bytes", L"\\Memory\\Pages/sec"}));
    list.clear();
    enumObjectByNameEx(L"", L"Empty", L"*", L"*", list);
    EXPECT_TRUE(list.empty());

    enumObjectByNameEx(L"", L"Secret", L"*", L"*", list);
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(capture.contains("PerfmonHelper::enumObjectByNameEx: PdhEnumObjectItems failed for object - "
                                 "'Secret' with error (0xc0000bdb): "));
}

TEST_F(PerfmonHelperTest, AddWildCardToListTakesThePathsMachineAndParts)
{
    std::vector<CounterEntry> list;
    addWildCardToList(L"ignored-host", buildCounterPath(L"Memory", L"*", L"Available Bytes"), list);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].path, L"\\Memory\\Available Bytes");
    EXPECT_EQ(list[0].instance, L"");

    list.clear();
    addWildCardToList(L"", L"\\Processor(*)\\*", list);
    EXPECT_EQ(list.size(), 4u);

    list.clear();
    addWildCardToList(L"", L"\\\\elsewhere\\Process(*)\\ID Process", list);
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(capture.contains("PdhEnumObjectItems failed for object - 'Process' with error (0x800007d0)"));

    addWildCardToList(L"", L"\\Memory\\", list);
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(capture.contains(
        "PerfmonHelper::addWildCardToList - PdhParseCounterPath returned error 0x0 for counter '\\Memory\\'.\n"));
}

TEST_F(PerfmonHelperTest, AddPdhCounterRetriesWithAllInstancesThenDrops)
{
    PDH_HQUERY query = initQueryHandle();
    ASSERT_NE(query, nullptr);
    std::vector<CounterEntry> list;
    addCounterToList(L"Processor", L"_Total", L"% User Time", list);
    addCounterToList(L"Processor", L"_Total", L"Bogus", list);
    addCounterToList(L"Processor", L"", L"% User Time", list);
    ASSERT_TRUE(addPdhCounter(query, list[0]));
    EXPECT_NE(list[0].handle, nullptr);
    EXPECT_FALSE(addPdhCounter(query, list[1]));
    EXPECT_EQ(list[1].handle, nullptr);
    EXPECT_TRUE(capture.contains("Unable to add counter '\\Processor(*)\\Bogus'  error 0xc0000bb9\n"));

    // PDH wants an instance here; the retry reads all of them as an array.
    ASSERT_TRUE(addPdhCounter(query, list[2]));
    EXPECT_EQ(list[2].path, L"\\Processor\\% User Time");
    EXPECT_EQ(list[2].instance, L"");
    PDH_FMT_COUNTERVALUE value{};
    ASSERT_EQ(pdh::PdhCollectQueryData(query), 0);
    EXPECT_EQ(static_cast<DWORD>(pdh::PdhGetFormattedCounterValue(list[2].handle, PDH_FMT_DOUBLE, nullptr, &value)),
              PDH_INVALID_ARGUMENT);
}

TEST_F(PerfmonHelperTest, ObjectsPathsAndDescriptions)
{
    EXPECT_TRUE(isObjectValid(L"Processor"));
    EXPECT_FALSE(isObjectValid(L"Nothing"));
    EXPECT_TRUE(isObjectValid(L"Secret")) << "other failures count as valid";

    std::vector<Str> names;
    ASSERT_TRUE(enumObjectNames(L"", names));
    EXPECT_EQ(names, (std::vector<Str>{"Processor", "Memory", "Process", "Empty", "Secret"}));
    EXPECT_FALSE(enumObjectNames(L"\\\\elsewhere", names));
    EXPECT_TRUE(capture.contains("PerfmonHelper::enumObjectNames: PdhEnumObjects failed with (0x800007d0): "));

    EXPECT_TRUE(isWildcardPath(L"\\Process(*)\\ID Process"));
    EXPECT_TRUE(isWildcardPath(L"\\Memory\\*"));
    EXPECT_TRUE(isWildcardPath(L"\\Process(w*)\\ID Process"));
    EXPECT_TRUE(isWildcardPath(L"\\Processor\\% User Time")) << "no instance where one is needed";
    EXPECT_FALSE(isWildcardPath(L"\\Processor(_Total)\\% User Time"));
    EXPECT_FALSE(isWildcardPath(L"\\Memory\\Available Bytes"));
    EXPECT_FALSE(isWildcardPath(L"\\Process(gone)\\ID Process"));
    EXPECT_FALSE(isWildcardPath(L"junk"));

    PDH_HQUERY query = initQueryHandle();
    CounterEntry entry;
    entry.path = L"\\Processor(0)\\% Processor Time";
    ASSERT_TRUE(addPdhCounter(query, entry));
    EXPECT_EQ(getCounterDescription(entry.handle), "Share of time busy");
    entry.path = L"\\Memory\\Pages/sec";
    ASSERT_TRUE(addPdhCounter(query, entry));
    EXPECT_EQ(getCounterDescription(entry.handle), "");
    EXPECT_EQ(getCounterDescription(nullptr), "");
}

TEST_F(PerfmonHelperTest, StatusTexts)
{
    // PDH's own ranges; 0x800007DD lies just past the lower one.
    const Str noObject = getPdhErr(static_cast<PDH_STATUS>(PDH_CSTATUS_NO_OBJECT));
    const Str moreData = getPdhErr(static_cast<PDH_STATUS>(PDH_MORE_DATA));
    const Str running = getPdhErr(static_cast<PDH_STATUS>(0xC0000BE9));
    if (noObject.empty()) {
        // A system pdh.dll without its message table (Wine's): logged, and empty as allowed.
        EXPECT_TRUE(capture.contains("PerfmonHelper::getPdhErr: Format message failed with (0x"));
    } else {
        EXPECT_EQ(noObject, "The specified object is not found on the system.\r\n");
        EXPECT_EQ(moreData.rfind("There is more data to return than would fit in the supplied buffer.", 0), 0u);
        EXPECT_EQ(running, "Collection \"<collectionname>\" is already running.\r\n");
    }
    EXPECT_EQ(getPdhErr(static_cast<PDH_STATUS>(0x800007DD)), errorString(0x800007DD));
    EXPECT_EQ(getPdhErr(static_cast<PDH_STATUS>(0xC0000BFF)), errorString(0xC0000BFF));
    EXPECT_EQ(getPdhErr(static_cast<PDH_STATUS>(2)), errorString(2));
    EXPECT_FALSE(errorString(2).empty());
}

TEST_F(PerfmonHelperTest, InjectedQueryFailureIsLoggedAndGivesNoQuery)
{
    use("fail PdhOpenQueryA | 0xC0000BBB\n");
    EXPECT_EQ(initQueryHandle(), nullptr);
    EXPECT_TRUE(capture.contains("PerfmonHelper::initQueryHandle: PdhOpenQuery failed with status (0xc0000bbb): "));
}

TEST(PdhProviderSelection, ScriptFromTheEnvironment)
{
    const std::string good = ::testing::TempDir() + "pdh-good.script";
    const std::string bad = ::testing::TempDir() + "pdh-bad.script";
    std::ofstream(good) << "object Memory\ncounter Available Bytes\n";
    std::ofstream(bad) << "object Memory\n\ncounter\n";
    std::string error;

    ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_PDH_SCRIPT", Str(bad).toWide()));
    EXPECT_FALSE(selectPdhProvider(error));
    EXPECT_EQ(error, bad + ":3: \"counter\" needs a name");
    EXPECT_EQ(static_cast<DWORD>(pdh::PdhValidatePathW(L"\\Memory\\Available Bytes")), PDH_CSTATUS_NO_MACHINE);

    ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_PDH_SCRIPT", Str(good).toWide()));
    EXPECT_TRUE(selectPdhProvider(error));
    EXPECT_EQ(pdh::PdhValidatePathW(L"\\Memory\\Available Bytes"), 0);
    EXPECT_TRUE(isObjectValid(L"Memory"));
    EXPECT_FALSE(isObjectValid(L"Processor"));

    platform::setEnvironmentVariable(L"TOLVIK_PDH_SCRIPT", L"");
    setPdhProvider(nullptr);
    std::remove(good.c_str());
    std::remove(bad.c_str());
}
