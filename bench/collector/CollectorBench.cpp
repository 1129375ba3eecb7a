// The monitor on the live system: a table of Process(*) with all its counters
// and one of every other object with all of its counters, sampled once a
// second for --collector_seconds (default 60), while sysstat's pidstat and sar
// sample the same things in the same run. Reports the monitor's CPU time per
// sampling round (the time column) and the process's peak resident memory,
// and the CPU time per round of each peer's process tree, through the platform's resource usage.
// (The children's peak memory isn't reported: a child's counts the memory
// of this process it was forked from.)
//
//   bench_collector --collector_seconds=10

#include <benchmark/benchmark.h>
#include <stdio.h>         // fopencookie

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "pdh/PdhProvider.h"
#include "pdh/procfs/ProcfsPdhProvider.h"
#include "pipeline/input/PerfMonitor.h"
#include "platform/ChildProcess.h"
#include "platform/ResourceUsage.h"

namespace {

int durationSeconds = 60;

platform::ResourceUsage usageOf(platform::UsageOf who)
{
    platform::ResourceUsage usage;
    platform::resourceUsage(who, usage);
    return usage;
}

// Discards the events but counts the tables, one write each.
struct Sink {
    long tables = 0;
    long processTables = 0;
};

ssize_t sinkWrite(void* cookie, const char* data, size_t size)
{
    const std::string_view text(data, size);
    auto* sink = static_cast<Sink*>(cookie);
    sink->tables += text.find("source=\"PerfmonMk:") != std::string_view::npos ? 1 : 0;
    sink->processTables += text.find("source=\"PerfmonMk:Process\"") != std::string_view::npos ? 1 : 0;
    return static_cast<ssize_t>(size);
}

std::FILE* openSink(Sink& sink)
{
    cookie_io_functions_t io{};
    io.write = sinkWrite;
    std::FILE* f = fopencookie(&sink, "w", io);
    if (f != nullptr) {
        setvbuf(f, nullptr, _IONBF, 0);
    }
    return f;
}

// A peer sampler run through the shell, its output thrown away so that no pipe fills.
bool startPeer(platform::ChildProcess& child, const std::string& command)
{
    const std::wstring line(command.begin(), command.end());
    return child.start(L"/bin/sh", {L"-c", line + L" > /dev/null"}, {L"PATH=/usr/bin:/bin", L"LC_ALL=C"});
}

class StopAfter : public OneShotTimeout {
public:
    explicit StopAfter(PerfMonitor& monitor) : monitor(monitor) {}
    void onTimeout() override { monitor.stop(); }

private:
    PerfMonitor& monitor;
};

// Starts the peers once the Process table has come, so that their start-up
// doesn't race the monitor's listing of processes; gives up on a run without one.
class StartPeers : public OneShotTimeout {
public:
    StartPeers(PerfMonitor& monitor, const Sink& sink, StopAfter& stop) : monitor(monitor), sink(sink), stop(stop) {}
    void onTimeout() override
    {
        const std::string n = std::to_string(durationSeconds);
        if (sink.processTables == 0 || !startPeer(pidstat, "pidstat -h -u -r -d -w -p ALL 1 " + n) ||
            !startPeer(sar, "sar -u ALL -P ALL -r -S -W -B -d -n DEV -q -w 1 " + n)) {
            monitor.stop();
            return;
        }
        started = true;
        monitor.getEventLoop().schedule(stop, static_cast<std::uint64_t>(durationSeconds) * 1000 + 500);
    }

    platform::ChildProcess pidstat;
    platform::ChildProcess sar;
    bool started = false;

private:
    PerfMonitor& monitor;
    const Sink& sink;
    StopAfter& stop;
};

void BM_MonitorBesidePidstatAndSar(benchmark::State& state)
{
    setPdhProvider(std::make_unique<ProcfsPdhProvider>(ProcfsPdhProvider::Options()));
    const wchar_t* const objects[] = {L"Process",     L"Processor",         L"Memory", L"LogicalDisk",
                                      L"PhysicalDisk", L"Network Interface", L"System", L"Paging File"};
    std::vector<CollectionConfig> records;
    for (const wchar_t* object : objects) {
        CollectionConfig c;
        c.name = object;
        c.object = object;
        c.counters = L"*";
        c.instances = L"*";
        c.mode = PERFMON_MODE_MULTIKV;
        c.interval = 1000;
        records.push_back(c);
    }
    for (auto _ : state) {
        // Processes that come and go while the monitor lists them can cost it
        // the whole Process collection (PDH answers "more data" to the second
        // call); such an attempt is thrown away.
        for (int attempt = 0; attempt < 5; ++attempt) {
            PerfmonOptions options;
            PerfMonitor monitor(&options);
            for (CollectionConfig& c : records) {
                monitor.getCollections().push_back(&c);
            }
            Sink sink;
            std::FILE* out = openSink(sink);
            monitor.setOutput(out);
            StopAfter stop(monitor);
            StartPeers peers(monitor, sink, stop);
            monitor.getEventLoop().schedule(peers, 2500);

            const platform::ResourceUsage before = usageOf(platform::UsageOf::callingThread);
            const bool ran = monitor.start();
            const platform::ResourceUsage after = usageOf(platform::UsageOf::callingThread);
            monitor.getEventLoop().remove(peers);
            monitor.getEventLoop().remove(stop);
            std::fclose(out);
            if (!ran) {
                state.SkipWithError("the monitor found nothing to monitor");
                return;
            }
            if (!peers.started) {
                continue;
            }

            // Reap one peer at a time so that the children's usage tells them apart.
            int code = 0;
            const platform::ResourceUsage children0 = usageOf(platform::UsageOf::waitedChildren);
            const bool pidstatOk = peers.pidstat.wait(30000, code) && code == 0;
            const platform::ResourceUsage children1 = usageOf(platform::UsageOf::waitedChildren);
            const bool sarOk = peers.sar.wait(30000, code) && code == 0;
            const platform::ResourceUsage children2 = usageOf(platform::UsageOf::waitedChildren);

            const double rounds = static_cast<double>(sink.processTables);
            state.SetIterationTime((after.cpuSeconds - before.cpuSeconds) / rounds);
            state.counters["attempts"] = attempt + 1;
            state.counters["rounds"] = rounds;
            state.counters["tables_per_round"] = static_cast<double>(sink.tables) / rounds;
            const long peakKb = usageOf(platform::UsageOf::process).peakResidentKb;
            state.counters["monitor_peak_rss_MiB"] = static_cast<double>(peakKb) / 1024.0;
            state.counters["pidstat_cpu_ms_per_round"] =
                pidstatOk ? (children1.cpuSeconds - children0.cpuSeconds) * 1000.0 / durationSeconds : -1;
            state.counters["sar_cpu_ms_per_round"] =
                sarOk ? (children2.cpuSeconds - children1.cpuSeconds) * 1000.0 / durationSeconds : -1;
            break;
        }
        if (state.counters.count("rounds") == 0) {
            state.SkipWithError("no attempt got a Process table");
        }
    }
    setPdhProvider(nullptr);
}
BENCHMARK(BM_MonitorBesidePidstatAndSar)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    // Our own flag first; the rest is Google Benchmark's.
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        constexpr std::string_view flag = "--collector_seconds=";
        if (std::string_view(argv[i]).substr(0, flag.size()) == flag) {
            durationSeconds = std::max(1, std::atoi(argv[i] + flag.size()));
        } else {
            rest.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
