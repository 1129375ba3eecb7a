#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "pipeline/input/ResultToMultikvStdout.h"
#include "pipeline/input/ResultToStdout.h"

// The cost of turning values into event text, written and flushed to a sink
// that takes everything (the null device), as the pipe to the indexer would.

namespace {

const Str kTimestamp("\n11/14/2012 09:30:05.123 +0100\n");

CounterEntry makeEntry(const std::wstring& counter, const std::wstring& instance)
{
    CounterEntry e;
    e.collection = L"CPU Load";
    e.object = L"Processor";
    e.counter = counter;
    e.instance = instance;
    e.category = L"cpu";
    e.mode = 1;
    e.index = "main";
    return e;
}

std::FILE* nullDevice()
{
    static std::FILE* sink = std::fopen("/dev/null", "wb");
    return sink;
}

void BM_SingleEvent(benchmark::State& state)
{
    ResultToStdout out(nullDevice());
    const CounterEntry entry = makeEntry(L"% Processor Time", L"_Total");
    double value = 12.345678;
    for (auto _ : state) {
        out.addResult(entry, &value, kTimestamp);
        value += 0.5;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SingleEvent);

// One tick of a table: instances x 4 counters, then the write.
void BM_MultikvTick(benchmark::State& state)
{
    const std::vector<std::wstring> counters = {L"% Processor Time", L"% User Time", L"% Privileged Time",
                                                L"Interrupts/sec"};
    std::vector<CounterEntry> entries;
    for (int i = 0; i < state.range(0); ++i) {
        for (const auto& c : counters) {
            entries.push_back(makeEntry(c, std::to_wstring(i)));
        }
    }
    double value = 1.5;
    for (auto _ : state) {
        ResultToMultikvStdout out(nullDevice());
        for (const CounterEntry& e : entries) {
            out.addResult(e, &value, kTimestamp);
        }
        out.completeOutput();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(entries.size()));
}
BENCHMARK(BM_MultikvTick)->Arg(1)->Arg(16)->Arg(256);

}  // namespace

BENCHMARK_MAIN();
