// The cost of one sample of every process on the live system: the provider's
// collect of Process(*) with all its counters, the bare reading of the same
// /proc files (held open, and opened each time), and sysstat's pidstat doing
// the same job.

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include <string>
#include <vector>

#include "bench/common/CountingNew.h"
#include "pdh/procfs/ProcfsPdhProvider.h"
#include "pdh/procfs/ProcfsReader.h"
#include "platform/ChildProcess.h"
#include "platform/ResourceUsage.h"

namespace {

const wchar_t* const COUNTERS[] = {
    L"% Processor Time", L"% User Time",       L"% Privileged Time", L"ID Process",
    L"Creating Process ID", L"Elapsed Time",   L"Thread Count",      L"Handle Count",
    L"Working Set",      L"Working Set Peak",  L"Private Bytes",     L"Virtual Bytes",
    L"Page Faults/sec",  L"IO Read Bytes/sec", L"IO Write Bytes/sec", L"IO Read Operations/sec",
    L"IO Write Operations/sec",
};

// A collect of Process(*) with all its counters, and the arrays read as the
// monitor reads them: a sizing call and a reading call each.
void collectAllProcesses(benchmark::State& state, bool readValues)
{
    ProcfsPdhProvider provider{ProcfsPdhProvider::Options()};
    PDH_HQUERY query = nullptr;
    provider.openQueryA(nullptr, 0, &query);
    std::vector<PDH_HCOUNTER> counters;
    for (const wchar_t* name : COUNTERS) {
        PDH_HCOUNTER c = nullptr;
        if (provider.addCounterW(query, (std::wstring(L"\\Process(*)\\") + name).c_str(), 0, &c) != 0) {
            state.SkipWithError("counter refused");
            return;
        }
        counters.push_back(c);
    }
    std::vector<char> buffer;
    DWORD items = 0;
    const auto sample = [&] {
        provider.collectQueryData(query);
        for (PDH_HCOUNTER c : counters) {
            if (!readValues) {
                break;
            }
            DWORD size = 0;
            provider.getFormattedCounterArrayW(c, PDH_FMT_DOUBLE, &size, &items, nullptr);
            if (buffer.size() < size) {
                buffer.resize(size);
            }
            provider.getFormattedCounterArrayW(c, PDH_FMT_DOUBLE, &size, &items,
                                               reinterpret_cast<PPDH_FMT_COUNTERVALUE_ITEM_W>(buffer.data()));
            benchmark::DoNotOptimize(buffer.data());
        }
    };
    // Two samples first, so that rates have values and buffers their size.
    sample();
    sample();
    const std::uint64_t allocationsBefore = allocationCount();
    for (auto _ : state) {
        sample();
    }
    state.counters["allocations"] = benchmark::Counter(static_cast<double>(allocationCount() - allocationsBefore),
                                                       benchmark::Counter::kAvgIterations);
    DWORD size = 0;
    provider.getFormattedCounterArrayW(counters[0], PDH_FMT_DOUBLE, &size, &items, nullptr);
    state.counters["processes"] = items - 1;  // less _Total
}

void BM_ProviderCollect(benchmark::State& state)
{
    collectAllProcesses(state, false);
}
BENCHMARK(BM_ProviderCollect)->Unit(benchmark::kMillisecond);

void BM_ProviderCollectAndRead(benchmark::State& state)
{
    collectAllProcesses(state, true);
}
BENCHMARK(BM_ProviderCollectAndRead)->Unit(benchmark::kMillisecond);

// The same files read once each and not parsed, through the reader that
// keeps them open between samples: the floor for this provider.
void BM_BareProcReads(benchmark::State& state)
{
    ProcfsReader reader("/");
    std::vector<int> pids;
    std::string_view text;
    for (auto _ : state) {
        reader.read("/proc/uptime", text);
        reader.listPids(pids);
        for (const int pid : pids) {
            reader.readPid(pid, "stat", text);
            reader.readPid(pid, "status", text);
            reader.readPid(pid, "io", text);
            benchmark::DoNotOptimize(reader.countOpenFiles(pid));
        }
    }
    state.counters["processes"] = static_cast<double>(pids.size());
    state.counters["held_files"] = static_cast<double>(reader.heldFiles());
}
BENCHMARK(BM_BareProcReads)->Unit(benchmark::kMillisecond);

// The same with every file opened, read and closed each time, as sysstat does:
// the floor for a collector that doesn't keep them open.
void BM_BareProcReadsOpenedEachTime(benchmark::State& state)
{
    std::vector<char> buffer(4096);
    const auto readWhole = [&](const std::string& path) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            while (::read(fd, buffer.data(), buffer.size()) > 0) {
            }
            ::close(fd);
        }
    };
    const auto countEntries = [](const std::string& path) {
        long n = 0;
        if (DIR* dir = ::opendir(path.c_str())) {
            while (::readdir(dir) != nullptr) {
                ++n;
            }
            ::closedir(dir);
        }
        return n;
    };
    std::vector<int> pids;
    for (auto _ : state) {
        readWhole("/proc/uptime");
        pids.clear();
        if (DIR* dir = ::opendir("/proc")) {
            while (const dirent* e = ::readdir(dir)) {
                if (e->d_name[0] >= '1' && e->d_name[0] <= '9') {
                    pids.push_back(std::atoi(e->d_name));
                }
            }
            ::closedir(dir);
        }
        for (const int pid : pids) {
            const std::string dir = "/proc/" + std::to_string(pid) + "/";
            readWhole(dir + "stat");
            readWhole(dir + "status");
            readWhole(dir + "io");
            benchmark::DoNotOptimize(countEntries(dir + "fd"));
        }
    }
    state.counters["processes"] = static_cast<double>(pids.size());
}
BENCHMARK(BM_BareProcReadsOpenedEachTime)->Unit(benchmark::kMillisecond);

// The CPU time of waited-for children.
double childrenCpuSeconds()
{
    platform::ResourceUsage usage;
    platform::resourceUsage(platform::UsageOf::waitedChildren, usage);
    return usage.cpuSeconds;
}

// The CPU time pidstat spends on `samples` readings of all processes.
bool pidstatCpu(int reports, double& seconds)
{
    platform::ChildProcess child;
    const double before = childrenCpuSeconds();
    if (!child.start(L"/usr/bin/pidstat", {L"-u", L"-r", L"-d", L"-p", L"ALL", L"1", std::to_wstring(reports)},
                     {L"PATH=/usr/bin:/bin", L"LC_ALL=C"})) {
        return false;
    }
    int code = 0;
    if (!child.wait(60000, code) || code != 0) {
        return false;
    }
    seconds = childrenCpuSeconds() - before;
    return true;
}

// pidstat reads every process once more for each report after the first; the
// difference of two runs leaves out its start-up. The time is CPU time per
// reading of all processes.
void BM_Pidstat(benchmark::State& state)
{
    constexpr int FEW = 1, MANY = 6;
    for (auto _ : state) {
        double few = 0, many = 0;
        if (!pidstatCpu(FEW, few) || !pidstatCpu(MANY, many)) {
            state.SkipWithError("pidstat didn't run");
            return;
        }
        state.SetIterationTime((many - few) / (MANY - FEW));
    }
}
BENCHMARK(BM_Pidstat)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
