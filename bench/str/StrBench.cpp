// Costs of the string operations that configuration reading and event
// formatting run most: tokenising, formatting, URL escapes, caseless compare.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "foundation/Str.h"

namespace {

const Str configLine("counters = % Processor Time; % User Time; % Privileged Time; Interrupts/sec; "
                     "% DPC Time; % Interrupt Time; DPCs Queued/sec; DPC Rate; % Idle Time; C1 Transitions/sec");

template <typename Sep>
void splitIntoSegments(benchmark::State& state, const Sep& separator)
{
    std::vector<StrSegment> out;
    out.reserve(64);
    acceptor_PopulateStrSegmentVector acceptor(out);
    for (auto _ : state) {
        out.clear();
        Str::split(configLine, acceptor, separator);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * configLine.size());
}

void BM_SplitByte(benchmark::State& state) { splitIntoSegments(state, ';'); }
void BM_SplitString(benchmark::State& state) { splitIntoSegments(state, StrSegment("; ")); }
void BM_SplitClass(benchmark::State& state) { splitIntoSegments(state, CharClass::listSeparators); }

void BM_SplitIntoStrCopies(benchmark::State& state)
{
    std::vector<Str> out;
    out.reserve(64);
    acceptor_PopulateStrVector acceptor(out);
    for (auto _ : state) {
        out.clear();
        Str::split(configLine, acceptor, ';');
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * configLine.size());
}

// A typical event line fits the stack buffer; a long one takes the second pass.
void BM_AppendFormat(benchmark::State& state)
{
    const int padding = static_cast<int>(state.range(0));
    Str s;
    for (auto _ : state) {
        s.clear();
        s.appendFormat("%s=%lld %s=\"%.3f\" %*s", "collection", 1234567LL, "Value", 98.7654, padding, "x");
        benchmark::DoNotOptimize(s.data());
    }
}

const Str urlText("instance=C:\\Program Files\\Tolvik\\bin&counter=% Processor Time&host=h\xC3\xB6st-01");

void BM_UrlEncode(benchmark::State& state)
{
    for (auto _ : state) {
        Str s(urlText);
        s.urlEncode();
        benchmark::DoNotOptimize(s.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * urlText.size());
}

void BM_UrlEncodeNothingToDo(benchmark::State& state)
{
    Str s("Processor_Total.percent-user-time~0123456789");
    for (auto _ : state) {
        s.urlEncode();
        benchmark::DoNotOptimize(s.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * s.size());
}

void BM_UrlDecode(benchmark::State& state)
{
    Str encoded(urlText);
    encoded.urlEncode();
    for (auto _ : state) {
        Str s(encoded);
        benchmark::DoNotOptimize(s.urlDecode());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * encoded.size());
}

void compareNoCase(benchmark::State& state, const char* a, const char* b)
{
    const Str x(a), y(b);
    for (auto _ : state)
        benchmark::DoNotOptimize(x.compareNoCase(y));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * (x.size() + y.size()));
}

void BM_CompareNoCaseAscii(benchmark::State& state)
{
    compareNoCase(state, "Processor Information(_Total)\\% Processor Utility",
                  "PROCESSOR INFORMATION(_total)\\% processor utility");
}

void BM_CompareNoCaseGreekCyrillic(benchmark::State& state)
{
    compareNoCase(state, "ΕΠΕΞΕΡΓΑΣΤΗΣ ΠΡΟΣΟΡΙΝΗ ΜΝΗΜΗ ПРОЦЕССОР ЗАГРУЗКА", "επεξεργαστης προσορινη μνημη процессор загрузка");
}

}  // namespace

BENCHMARK(BM_SplitByte);
BENCHMARK(BM_SplitString);
BENCHMARK(BM_SplitClass);
BENCHMARK(BM_SplitIntoStrCopies);
BENCHMARK(BM_AppendFormat)->Arg(1)->Arg(400);
BENCHMARK(BM_UrlEncode);
BENCHMARK(BM_UrlEncodeNothingToDo);
BENCHMARK(BM_UrlDecode);
BENCHMARK(BM_CompareNoCaseAscii);
BENCHMARK(BM_CompareNoCaseGreekCyrillic);

BENCHMARK_MAIN();
