// Timer queue costs at 1k/10k/100k timers, with every allocation counted, and
// the bare thread primitives beside them.

#include "bench/common/CountingNew.h"
#include "eventloop/Event.h"
#include "eventloop/Mutex.h"
#include "eventloop/Thread.h"
#include "eventloop/Timeout.h"
#include "platform/Threads.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <vector>

namespace {

class CountingTimeout : public OneShotTimeout {
public:
    void onTimeout() override { ++fired; }
    static inline std::uint64_t fired = 0;
};

std::vector<std::uint64_t> randomDelays(std::size_t n)
{
    std::mt19937_64 rng(42);
    std::vector<std::uint64_t> delays(n);
    for (auto& d : delays) d = rng() % 3600000;
    return delays;
}

// Schedule n timers, then fire them all in one pass.
void BM_ScheduleAndFireAll(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    ManualClock clock;
    TimeoutQueue queue(&clock);
    std::vector<CountingTimeout> timers(n);
    auto delays = randomDelays(n);
    AllocationCounter counter(state);
    for (auto _ : state) {
        counter.begin();
        Timeval now = clock.now();
        for (std::size_t i = 0; i < n; ++i) queue.schedule(timers[i], now, delays[i]);
        Timeval later = now;
        later.addMilliseconds(3600000);
        queue.fireDue(later);
        counter.end();
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}
BENCHMARK(BM_ScheduleAndFireAll)->Arg(1000)->Arg(10000)->Arg(100000)->Complexity(benchmark::oNLogN);

// Schedule n timers, then remove them all in random order.
void BM_ScheduleAndRemoveAll(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    ManualClock clock;
    TimeoutQueue queue(&clock);
    std::vector<CountingTimeout> timers(n);
    auto delays = randomDelays(n);
    std::vector<std::size_t> order(n);
    for (std::size_t i = 0; i < n; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    AllocationCounter counter(state);
    for (auto _ : state) {
        counter.begin();
        Timeval now = clock.now();
        for (std::size_t i = 0; i < n; ++i) queue.schedule(timers[i], now, delays[i]);
        for (std::size_t i : order) queue.remove(timers[i]);
        counter.end();
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}
BENCHMARK(BM_ScheduleAndRemoveAll)->Arg(1000)->Arg(10000)->Arg(100000)->Complexity(benchmark::oNLogN);

// One schedule and remove of the earliest timer in a queue of n: the cost
// per operation grows with the heap's depth.
void BM_ScheduleRemoveOneInQueueOf(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    ManualClock clock;
    TimeoutQueue queue(&clock);
    std::vector<CountingTimeout> timers(n);
    auto delays = randomDelays(n);
    Timeval now = clock.now();
    for (std::size_t i = 0; i < n; ++i) queue.schedule(timers[i], now, delays[i] + 1);
    CountingTimeout probe;
    AllocationCounter counter(state);
    for (auto _ : state) {
        counter.begin();
        queue.schedule(probe, now, 0);
        queue.remove(probe);
        counter.end();
    }
    state.SetComplexityN(state.range(0));
    for (auto& t : timers) queue.remove(t);
}
BENCHMARK(BM_ScheduleRemoveOneInQueueOf)->Arg(1000)->Arg(10000)->Arg(100000)->Complexity(benchmark::oLogN);

void BM_PlatformMutexLockUnlock(benchmark::State& state)
{
    platform::MutexHandle m = platform::createMutex();
    for (auto _ : state) {
        platform::lockMutex(m, platform::WAIT_FOREVER);
        platform::unlockMutex(m);
    }
    platform::closeMutex(m);
}
BENCHMARK(BM_PlatformMutexLockUnlock);

void BM_MutexLockUnlock(benchmark::State& state)
{
    Mutex m;
    for (auto _ : state) {
        MutexLock lock(m);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MutexLockUnlock);

class PongThread : public Thread {
public:
    PongThread(Event& ping, Event& pong) : Thread("pong"), ping(ping), pong(pong) {}
    ~PongThread() override { join(); }
    void run() override
    {
        MutexLock lock(mutex);
        for (;;) {
            ping.wait(mutex);
            if (stop.load(std::memory_order_relaxed)) return;
            pong.signal();
        }
    }
    std::atomic<bool> stop{false};

private:
    Event& ping;
    Event& pong;
    Mutex mutex;
};

// One set and one wait each way between two threads.
void BM_EventRoundTrip(benchmark::State& state)
{
    Event ping, pong;
    Mutex mutex;
    PongThread other(ping, pong);
    other.start();
    {
        MutexLock lock(mutex);
        for (auto _ : state) {
            ping.signal();
            pong.wait(mutex);
        }
    }
    other.stop = true;
    ping.signal();
}
BENCHMARK(BM_EventRoundTrip)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    FakeMainThread mainThread;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
