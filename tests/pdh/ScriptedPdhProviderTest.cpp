#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

#include "pdh/PdhCounterPath.h"
#include "pdh/ScriptedPdhProvider.h"

namespace {

const char* kScript = R"(# a small machine
machine host1
object Processor
counter % Processor Time | rate | linear 10 1 | explain Share of time busy
counter Interrupts/sec | seq 1 2 3
instance 0
instance _Total
value % Processor Time | _Total | 50
object Memory
counter Available Bytes | 1024
object Process
counter ID Process | 7
instance svchost
instance svchost
instance late | from 2
instance gone | until 2
value ID Process | svchost#1 | 8
object Empty | instances
counter Count
)";

std::unique_ptr<ScriptedPdhProvider> load(const std::string& text, std::string* error = nullptr)
{
    std::istringstream in(text);
    std::string e;
    auto p = ScriptedPdhProvider::load(in, "test.pdh", e);
    if (error != nullptr) {
        *error = e;
    }
    return p;
}

PDH_STATUS st(DWORD code)
{
    return static_cast<PDH_STATUS>(code);
}

std::vector<std::wstring> walk(const std::vector<wchar_t>& buffer)
{
    std::vector<std::wstring> out;
    for (const wchar_t* p = buffer.data(); p < buffer.data() + buffer.size() && *p != L'\0'; p += out.back().size() + 1) {
        out.emplace_back(p);
    }
    return out;
}

// Lists an object's counters and instances by the two-call idiom.
PDH_STATUS items(PdhProvider& p, const wchar_t* object, std::vector<std::wstring>& counters,
                 std::vector<std::wstring>& instances, DWORD* instanceSize = nullptr)
{
    DWORD cs = 0, is = 0;
    PDH_STATUS s = p.enumObjectItemsW(nullptr, nullptr, object, nullptr, &cs, nullptr, &is, PERF_DETAIL_WIZARD, 0);
    if (s != st(PDH_MORE_DATA)) {
        return s;
    }
    if (instanceSize != nullptr) {
        *instanceSize = is;
    }
    std::vector<wchar_t> cb(cs + 2), ib(is + 2);
    cs += 2;
    is += 2;
    s = p.enumObjectItemsW(nullptr, nullptr, object, cb.data(), &cs, ib.data(), &is, PERF_DETAIL_WIZARD, 0);
    counters = walk(cb);
    instances = walk(ib);
    return s;
}

struct Reader {
    PdhProvider& p;
    PDH_HQUERY query = nullptr;

    explicit Reader(PdhProvider& provider) : p(provider) { EXPECT_EQ(p.openQueryA(nullptr, 0, &query), 0); }

    PDH_HCOUNTER add(const wchar_t* path, PDH_STATUS expect = 0)
    {
        PDH_HCOUNTER c = nullptr;
        EXPECT_EQ(p.addCounterW(query, path, 0, &c), expect) << "adding the counter";
        return c;
    }
    PDH_STATUS read(PDH_HCOUNTER c, double& v)
    {
        PDH_FMT_COUNTERVALUE value{};
        const PDH_STATUS s = p.getFormattedCounterValue(c, PDH_FMT_DOUBLE, nullptr, &value);
        v = value.doubleValue;
        return s;
    }
    PDH_STATUS collect() { return p.collectQueryData(query); }
};

}  // namespace

TEST(ScriptedPdhProvider, MalformedScriptsNameFileLineAndFault)
{
    const std::pair<const char*, const char*> cases[] = {
        {"object A\ncounter c | rat\n", "test.pdh:2: bad value \"rat\""},
        {"counter c\n", "test.pdh:1: counter before any object"},
        {"object A\n\n# note\ninstance i | from x\n", "test.pdh:4: bad instance option \"from x\""},
        {"object A\ncounter c\nvalue d | i | 1\n", "test.pdh:3: value for unknown counter \"d\""},
        {"fail PdhNothing | 1\n", "test.pdh:1: unknown PDH function \"PdhNothing\""},
        {"fail PdhAddCounterW | on \\A\\c\n", "test.pdh:1: fail needs a status"},
        {"object A\ncounter c | linear 1\n", "test.pdh:2: linear needs two numbers"},
        {"object A\nobject a\n", "test.pdh:2: object \"a\" declared twice"},
        {"frobnicate x\n", "test.pdh:1: unknown statement \"frobnicate\""},
    };
    for (const auto& [text, message] : cases) {
        std::string error;
        EXPECT_EQ(load(text, &error), nullptr) << text;
        EXPECT_EQ(error.rfind(message, 0), 0u) << error;
    }
    std::string error;
    EXPECT_EQ(ScriptedPdhProvider::load("/nonexistent/x.pdh", error), nullptr);
    EXPECT_EQ(error.rfind("/nonexistent/x.pdh: cannot open", 0), 0u) << error;
}

TEST(ScriptedPdhProvider, EnumerationsSizeInTwoCallsAndListAsPdhDoes)
{
    auto p = load(kScript);
    ASSERT_NE(p, nullptr);

    DWORD size = 0;
    ASSERT_EQ(p->enumObjectsW(nullptr, nullptr, nullptr, &size, PERF_DETAIL_WIZARD, 1), st(PDH_MORE_DATA));
    std::vector<wchar_t> objects(size + 2, L'x');
    size += 2;
    ASSERT_EQ(p->enumObjectsW(nullptr, L"\\\\HOST1", objects.data(), &size, PERF_DETAIL_WIZARD, 0), 0);
    EXPECT_EQ(walk(objects), (std::vector<std::wstring>{L"Processor", L"Memory", L"Process", L"Empty"}));
    EXPECT_EQ(objects[size - 1], L'\0');
    EXPECT_EQ(objects[size - 2], L'\0');
    EXPECT_EQ(p->enumObjectsW(nullptr, L"\\\\other", nullptr, &size, PERF_DETAIL_WIZARD, 0),
              st(PDH_CSTATUS_NO_MACHINE));
    EXPECT_EQ(p->enumObjectsA(nullptr, nullptr, nullptr, nullptr, PERF_DETAIL_WIZARD, 1), st(PDH_MORE_DATA));

    std::vector<std::wstring> counters, instances;
    DWORD instanceSize = 99;
    ASSERT_EQ(items(*p, L"process", counters, instances), 0);
    EXPECT_EQ(counters, std::vector<std::wstring>{L"ID Process"});
    EXPECT_EQ(instances, (std::vector<std::wstring>{L"svchost", L"svchost", L"gone"}));
    ASSERT_EQ(items(*p, L"Memory", counters, instances, &instanceSize), 0);
    EXPECT_EQ(instanceSize, 0u);
    EXPECT_TRUE(instances.empty());
    ASSERT_EQ(items(*p, L"Empty", counters, instances, &instanceSize), 0);
    EXPECT_GT(instanceSize, 0u);
    EXPECT_TRUE(instances.empty());
    EXPECT_EQ(items(*p, L"Nothing", counters, instances), st(PDH_CSTATUS_NO_OBJECT));

    // Instances come and go with the collect number.
    Reader r(*p);
    r.add(L"\\Memory\\Available Bytes");
    r.collect();
    r.collect();
    ASSERT_EQ(items(*p, L"Process", counters, instances), 0);
    EXPECT_EQ(instances, (std::vector<std::wstring>{L"svchost", L"svchost", L"late"}));
}

TEST(ScriptedPdhProvider, AddAndReadSingleCounters)
{
    auto p = load(kScript);
    ASSERT_NE(p, nullptr);
    Reader r(*p);
    r.add(L"\\Nothing\\x", st(PDH_CSTATUS_NO_OBJECT));
    r.add(L"\\Processor(_Total)\\Bogus", st(PDH_CSTATUS_NO_COUNTER));
    r.add(L"\\Processor(*)\\Bogus", st(PDH_CSTATUS_NO_COUNTER));
    r.add(L"\\Processor\\% Processor Time", st(PDH_CSTATUS_NO_INSTANCE));
    r.add(L"\\Memory(x)\\Available Bytes", st(PDH_CSTATUS_NO_INSTANCE));
    r.add(L"Memory\\Available Bytes", st(PDH_CSTATUS_BAD_COUNTERNAME));
    r.add(L"\\\\elsewhere\\Memory\\Available Bytes", st(PDH_CSTATUS_NO_MACHINE));

    PDH_HCOUNTER mem = r.add(L"\\\\host1\\Memory\\Available Bytes");
    PDH_HCOUNTER rate = r.add(L"\\Processor(_Total)\\% Processor Time");
    PDH_HCOUNTER rate0 = r.add(L"\\Processor(0)\\% Processor Time");
    PDH_HCOUNTER seq = r.add(L"\\Processor(0)\\Interrupts/sec");
    PDH_HCOUNTER second = r.add(L"\\Process(svchost#1)\\ID Process");
    PDH_HCOUNTER first = r.add(L"\\Process(svchost)\\ID Process");
    PDH_HCOUNTER gone = r.add(L"\\Process(gone)\\ID Process");
    PDH_HCOUNTER late = r.add(L"\\Process(late)\\ID Process");

    double v = -1;
    EXPECT_EQ(r.read(mem, v), st(PDH_INVALID_DATA)) << "no sample yet";
    ASSERT_EQ(r.collect(), 0);
    EXPECT_EQ(r.read(mem, v), 0);
    EXPECT_EQ(v, 1024.0);
    EXPECT_EQ(r.read(rate, v), st(PDH_INVALID_DATA)) << "a rate's first sample";
    EXPECT_EQ(r.read(seq, v), 0);
    EXPECT_EQ(v, 1.0);
    EXPECT_EQ(r.read(first, v), 0);
    EXPECT_EQ(v, 7.0);
    EXPECT_EQ(r.read(second, v), 0);
    EXPECT_EQ(v, 8.0);
    EXPECT_EQ(r.read(gone, v), 0);
    EXPECT_EQ(r.read(late, v), st(PDH_INVALID_DATA));

    ASSERT_EQ(r.collect(), 0);
    EXPECT_EQ(r.read(rate, v), 0);
    EXPECT_EQ(v, 50.0);
    EXPECT_EQ(r.read(rate0, v), 0);
    EXPECT_EQ(v, 12.0);  // linear 10 + 1 * collect 2
    EXPECT_EQ(r.read(seq, v), 0);
    EXPECT_EQ(v, 2.0);
    EXPECT_EQ(r.read(gone, v), st(PDH_INVALID_DATA)) << "vanished at collect 2";
    EXPECT_EQ(r.read(late, v), 0);

    r.collect();
    r.collect();
    EXPECT_EQ(r.read(seq, v), 0);
    EXPECT_EQ(v, 3.0) << "a sequence holds its last value";

    EXPECT_EQ(p->closeQuery(r.query), 0);
    EXPECT_EQ(r.read(mem, v), st(PDH_INVALID_HANDLE));
    EXPECT_EQ(p->collectQueryData(r.query), st(PDH_INVALID_HANDLE));
}

TEST(ScriptedPdhProvider, AnInstanceThatReturnsUnderItsNameIsReadFromItsNewLine)
{
    auto p = load("object Proc\ncounter Threads | 1\ninstance blink | until 2\ninstance blink | from 3\n"
                  "value Threads | blink#1 | 2\n");
    ASSERT_NE(p, nullptr);
    Reader r(*p);
    const PDH_HCOUNTER c = r.add(L"\\Proc(blink)\\Threads");
    double v = 0;
    ASSERT_EQ(r.collect(), 0);
    EXPECT_EQ(r.read(c, v), 0);
    EXPECT_EQ(v, 1.0);
    ASSERT_EQ(r.collect(), 0);
    EXPECT_EQ(r.read(c, v), st(PDH_INVALID_DATA));  // gone
    EXPECT_EQ(p->validatePathW(L"\\Proc(blink)\\Threads"), st(PDH_CSTATUS_NO_INSTANCE));
    ASSERT_EQ(r.collect(), 0);
    EXPECT_EQ(r.read(c, v), 0);  // back: the first blink there is
    EXPECT_EQ(v, 2.0);
    EXPECT_EQ(p->validatePathW(L"\\Proc(blink)\\Threads"), 0);
    EXPECT_EQ(p->validatePathW(L"\\Proc(blink#1)\\Threads"), st(PDH_CSTATUS_NO_INSTANCE));
}

TEST(ScriptedPdhProvider, WildcardCountersReadAsArrays)
{
    auto p = load(kScript);
    ASSERT_NE(p, nullptr);
    Reader r(*p);
    PDH_HCOUNTER all = r.add(L"\\Process(*)\\ID Process");
    PDH_HCOUNTER cpu = r.add(L"\\Processor(*)\\% Processor Time");
    r.collect();
    double v;
    EXPECT_EQ(r.read(all, v), st(PDH_INVALID_ARGUMENT));

    DWORD size = 0, count = 0;
    EXPECT_EQ(p->getFormattedCounterArrayW(cpu, PDH_FMT_DOUBLE, &size, &count, nullptr), st(PDH_INVALID_DATA));
    ASSERT_EQ(p->getFormattedCounterArrayW(all, PDH_FMT_DOUBLE, &size, &count, nullptr), st(PDH_MORE_DATA));
    EXPECT_EQ(count, 3u);
    std::vector<char> buffer(size);
    auto* itemsOut = reinterpret_cast<PDH_FMT_COUNTERVALUE_ITEM_W*>(buffer.data());
    ASSERT_EQ(p->getFormattedCounterArrayW(all, PDH_FMT_DOUBLE, &size, &count, itemsOut), 0);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(std::wstring(itemsOut[0].szName), L"svchost");
    EXPECT_EQ(std::wstring(itemsOut[1].szName), L"svchost");
    EXPECT_EQ(std::wstring(itemsOut[2].szName), L"gone");
    EXPECT_EQ(itemsOut[0].FmtValue.doubleValue, 7.0);
    EXPECT_EQ(itemsOut[1].FmtValue.doubleValue, 8.0);

    r.collect();
    size = 0;
    ASSERT_EQ(p->getFormattedCounterArrayW(cpu, PDH_FMT_DOUBLE, &size, &count, nullptr), st(PDH_MORE_DATA));
    buffer.assign(size, 0);
    itemsOut = reinterpret_cast<PDH_FMT_COUNTERVALUE_ITEM_W*>(buffer.data());
    ASSERT_EQ(p->getFormattedCounterArrayW(cpu, PDH_FMT_DOUBLE, &size, &count, itemsOut), 0);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(itemsOut[0].FmtValue.doubleValue, 12.0);
    EXPECT_EQ(itemsOut[1].FmtValue.doubleValue, 50.0);
}

TEST(ScriptedPdhProvider, InjectedStatuses)
{
    auto p = load(std::string(kScript) +
                  "fail PdhCollectQueryData | at 2 | 0x800007D5\n"
                  "fail PdhGetFormattedCounterValue | on \\Memory\\Available Bytes | at 3 | 0x800007D8\n"
                  "fail PdhEnumObjectItemsW | on Process | 0xC0000BDB\n"
                  "fail PdhAddCounterW | on \\Processor(0)\\Interrupts/sec | 3221228473\n");
    ASSERT_NE(p, nullptr);
    Reader r(*p);
    r.add(L"\\Processor(0)\\Interrupts/sec", st(PDH_CSTATUS_NO_COUNTER));
    PDH_HCOUNTER mem = r.add(L"\\Memory\\Available Bytes");
    EXPECT_EQ(r.collect(), 0);
    EXPECT_EQ(r.collect(), st(PDH_NO_DATA));
    EXPECT_EQ(r.collect(), 0);
    double v = 0;
    EXPECT_EQ(r.read(mem, v), st(PDH_CALC_NEGATIVE_VALUE));
    EXPECT_EQ(v, 1024.0) << "the value still comes with the status";
    std::vector<std::wstring> counters, instances;
    EXPECT_EQ(items(*p, L"Process", counters, instances), st(PDH_ACCESS_DENIED));
    EXPECT_EQ(items(*p, L"Memory", counters, instances), 0);
}

TEST(ScriptedPdhProvider, ParseValidateAndDescribe)
{
    auto p = load(kScript);
    ASSERT_NE(p, nullptr);
    DWORD size = 0;
    const wchar_t* path = L"\\Thread(explorer/12#3)\\% Processor Time";
    ASSERT_EQ(p->parseCounterPathW(path, nullptr, &size, 0), st(PDH_MORE_DATA));
    std::vector<char> buffer(size);
    auto* e = reinterpret_cast<PDH_COUNTER_PATH_ELEMENTS_W*>(buffer.data());
    ASSERT_EQ(p->parseCounterPathW(path, e, &size, 0), 0);
    EXPECT_EQ(std::wstring(e->szMachineName), L"\\\\host1");
    EXPECT_EQ(std::wstring(e->szObjectName), L"Thread");
    EXPECT_EQ(std::wstring(e->szParentInstance), L"explorer");
    EXPECT_EQ(std::wstring(e->szInstanceName), L"12");
    EXPECT_EQ(e->dwInstanceIndex, 3u);
    EXPECT_EQ(std::wstring(e->szCounterName), L"% Processor Time");

    size = 0;
    ASSERT_EQ(p->parseCounterPathW(L"\\Memory\\Available Bytes", nullptr, &size, 0), st(PDH_MORE_DATA));
    buffer.assign(size, 0);
    e = reinterpret_cast<PDH_COUNTER_PATH_ELEMENTS_W*>(buffer.data());
    ASSERT_EQ(p->parseCounterPathW(L"\\Memory\\Available Bytes", e, &size, 0), 0);
    EXPECT_EQ(e->szInstanceName, nullptr);
    EXPECT_EQ(e->szParentInstance, nullptr);
    EXPECT_EQ(p->parseCounterPathW(L"Memory", nullptr, &size, 0), st(PDH_INVALID_PATH));

    EXPECT_EQ(p->validatePathW(L"\\Processor(_Total)\\% Processor Time"), 0);
    EXPECT_EQ(p->validatePathW(L"\\Process(svchost#1)\\ID Process"), 0);
    EXPECT_EQ(p->validatePathW(L"\\Process(svchost#2)\\ID Process"), st(PDH_CSTATUS_NO_INSTANCE));
    EXPECT_EQ(p->validatePathW(L"\\Process(*)\\ID Process"), st(PDH_CSTATUS_NO_INSTANCE));
    EXPECT_EQ(p->validatePathW(L"\\Processor(_Total)\\*"), st(PDH_CSTATUS_NO_COUNTER));
    EXPECT_EQ(p->validatePathW(L"\\Nothing\\x"), st(PDH_CSTATUS_NO_OBJECT));
    EXPECT_EQ(p->validatePathW(L"junk"), st(PDH_CSTATUS_BAD_COUNTERNAME));

    Reader r(*p);
    PDH_HCOUNTER c = r.add(L"\\Processor(_Total)\\% Processor Time");
    size = 0;
    ASSERT_EQ(p->getCounterInfoW(c, 1, &size, nullptr), st(PDH_MORE_DATA));
    buffer.assign(size, 0);
    auto* info = reinterpret_cast<PDH_COUNTER_INFO_W*>(buffer.data());
    ASSERT_EQ(p->getCounterInfoW(c, 1, &size, info), 0);
    EXPECT_EQ(std::wstring(info->szExplainText), L"Share of time busy");
    EXPECT_EQ(std::wstring(info->szFullPath), L"\\Processor(_Total)\\% Processor Time");
}

TEST(PdhCounterPath, ShapesAndNames)
{
    PdhCounterPath p;
    ASSERT_TRUE(p.parse(L"\\Process(foo (1))\\ID Process", L"\\\\m"));
    EXPECT_EQ(p.machine, L"\\\\m");
    EXPECT_EQ(p.object, L"Process");
    EXPECT_EQ(p.instance, L"foo (1)");
    EXPECT_EQ(p.counter, L"ID Process");
    ASSERT_TRUE(p.parse(L"\\\\srv\\LogicalDisk(C:)\\% Free Space", L"\\\\m"));
    EXPECT_EQ(p.machine, L"\\\\srv");
    EXPECT_EQ(p.fullInstance(), L"C:");
    ASSERT_TRUE(p.parse(L"\\Memory\\", L"\\\\m"));
    EXPECT_TRUE(p.counter.empty());
    EXPECT_FALSE(p.parse(L"\\Memory", L"\\\\m"));
    EXPECT_FALSE(p.parse(L"\\\\\\Memory\\x", L"\\\\m"));
    EXPECT_FALSE(p.parse(L"\\Processor(0\\x", L"\\\\m"));

    EXPECT_TRUE(pdhNameMatches(L"svc*", L"SVCHOST"));
    EXPECT_TRUE(pdhNameMatches(L"*host", L"svchost"));
    EXPECT_TRUE(pdhNameMatches(L"*", L""));
    EXPECT_FALSE(pdhNameMatches(L"svc*x", L"svchost"));
}
