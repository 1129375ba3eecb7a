// The price of a log call: at a disabled level (should be one comparison and
// no allocation), and enabled into a file through a pattern layout.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>

#include "bench/common/CountingNew.h"
#include "logging/LogConfig.h"
#include "logging/LogStream.h"
#include "logging/Logger.h"

namespace {

Logger benchLogger("LoggingBench", false, 60, 100);

// Every run starts from one configuration: INFO, one file appender.
struct Setup {
    Setup()
    {
        dir = std::filesystem::temp_directory_path() / "tolvik-logging-bench";
        std::filesystem::create_directories(dir);
        std::ofstream(dir / "bench.cfg") << "rootCategory=INFO,F\n"
                                            "appender.F.fileName=${TOLVIK_HOME}/bench.log\n"
                                            "appender.F.maxFileSize=50000000\n"
                                            "appender.F.maxBackupIndex=1\n"
                                            "appender.F.layout.ConversionPattern=%d{ISO8601} %-5p %c %t - %m%n\n";
        Pathname home(dir.wstring());
        loadLogConfig(Pathname((dir / "bench.cfg").wstring()), nullptr, {{"TOLVIK_HOME", home}}, true);
    }
    ~Setup()
    {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    std::filesystem::path dir;
};

Setup& setup()
{
    static Setup s;
    return s;
}

void reportAllocations(benchmark::State& state, std::uint64_t before)
{
    double perCall = static_cast<double>(allocationCount() - before) / static_cast<double>(state.iterations());
    state.counters["allocs/call"] = perCall;
}

void BM_DisabledLevel(benchmark::State& state)
{
    setup();
    // Counted apart from the timed loop, whose own ending allocates.
    std::uint64_t start = allocationCount();
    for (int k = 0; k < 1000; ++k)
        logDebug(benchLogger, "value %d of %s", k, "something");
    if (allocationCount() != start)
        state.SkipWithError("a disabled log call allocated");
    std::uint64_t before = allocationCount();
    int i = 0;
    for (auto _ : state) {
        logDebug(benchLogger, "value %d of %s", ++i, "something");
        benchmark::ClobberMemory();
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DisabledLevel);

void BM_DisabledStream(benchmark::State& state)
{
    setup();
    std::uint64_t start = allocationCount();
    for (int k = 0; k < 1000; ++k)
        debugStream(benchLogger) << "value " << k;
    if (allocationCount() != start)
        state.SkipWithError("a disabled stream allocated");
    std::uint64_t before = allocationCount();
    int i = 0;
    for (auto _ : state) {
        debugStream(benchLogger) << "value " << ++i;
        benchmark::ClobberMemory();
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_DisabledStream);

// For scale: the comparison the disabled call boils down to.
void BM_OneComparison(benchmark::State& state)
{
    setup();
    for (auto _ : state) {
        bool enabled = benchLogger.isEnabled(LOG_LEVEL_DEBUG);
        benchmark::DoNotOptimize(enabled);
    }
}
BENCHMARK(BM_OneComparison);

void BM_EnabledToFile(benchmark::State& state)
{
    setup();
    std::uint64_t before = allocationCount();
    int i = 0;
    for (auto _ : state)
        logInfo(benchLogger, "value %d of %s", ++i, "something");
    reportAllocations(state, before);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EnabledToFile);

void BM_EnabledToFileFromThreads(benchmark::State& state)
{
    setup();
    int i = 0;
    for (auto _ : state)
        logInfo(benchLogger, "value %d of %s", ++i, "something");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EnabledToFileFromThreads)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
