// Event loop costs: a runInThread round trip from another thread, and one
// loop round with 1, 64 and 500 ready descriptors (past 64 the waiter
// threads take part), with allocations counted. The platform calls they
// stand on are measured beside them; OsPrimitivesBench.cpp has the bare
// system calls.

#include "bench/common/CountingNew.h"
#include "eventloop/EventLoop.h"
#include "eventloop/InThreadActor.h"
#include "eventloop/PollableDescriptor.h"
#include "eventloop/PolledFd.h"
#include "eventloop/Thread.h"
#include "platform/EventObjects.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace {

class NoopActor : public InThreadActor {
public:
    void run() override { ++runs; }
    std::uint64_t runs = 0;
};

void BM_RunInThreadRoundTrip(benchmark::State& state)
{
    EventLoop loop;
    std::thread loopThread([&] { loop.run(); });
    while (!loop.isRunning()) std::this_thread::yield();
    for (auto _ : state) {
        NoopActor actor;
        loop.runInThread(&actor);
        benchmark::DoNotOptimize(actor.runs);
    }
    loop.stop();
    loopThread.join();
}
BENCHMARK(BM_RunInThreadRoundTrip)->UseRealTime();

// A bare event that stays set, so it is ready on every round. One of them
// drives the benchmark from inside the loop.
class ReadyFd : public PolledFd {
public:
    bool handleEvents(PollableDescriptor*) override
    {
        ++calls;
        if (driver) driver();
        return false;
    }
    std::uint64_t calls = 0;
    std::function<void()> driver;
};

void BM_DispatchReady(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    EventLoop loop;
    std::vector<PollableDescriptor*> descriptors;
    std::vector<std::unique_ptr<ReadyFd>> fds;
    for (std::size_t i = 0; i < n; ++i) {
        descriptors.push_back(new PollableDescriptor(platform::INVALID_SOCKET_VALUE));
        fds.push_back(std::make_unique<ReadyFd>());
        loop.add(*fds.back(), descriptors.back());
        platform::setEventObject(descriptors.back()->event);
    }
    AllocationCounter allocations(state);
    bool started = false;
    // Each round dispatches every ready fd once, the driver among them.
    fds[0]->driver = [&] {
        if (started) allocations.end();
        started = true;
        if (!state.KeepRunning()) {
            loop.stop();
            return;
        }
        allocations.begin();
    };
    loop.run();
    std::uint64_t calls = 0;
    for (auto& fd : fds) calls += fd->calls;
    state.SetItemsProcessed(static_cast<std::int64_t>(calls));
    for (std::size_t i = 0; i < n; ++i) {
        loop.remove(*fds[i]);
        descriptors[i]->release();
    }
}
BENCHMARK(BM_DispatchReady)->Arg(1)->Arg(64)->Arg(500)->UseRealTime();

// What a wake and a drain cost at the platform layer: set, wait, reset.
void BM_EventObjectSetWaitReset(benchmark::State& state)
{
    platform::EventObject event = platform::createEventObject();
    for (auto _ : state) {
        platform::setEventObject(event);
        benchmark::DoNotOptimize(platform::waitForEvents(1, &event, 0));
        platform::resetEventObject(event);
    }
    platform::closeEventObject(event);
}
BENCHMARK(BM_EventObjectSetWaitReset);

// One wait over n ready event objects (the lowest wins), as the loop's poll does.
void BM_WaitForEventsReady(benchmark::State& state)
{
    const auto n = static_cast<std::uint32_t>(state.range(0));
    std::vector<platform::EventObject> events(n);
    for (auto& e : events) {
        e = platform::createEventObject();
        platform::setEventObject(e);
    }
    for (auto _ : state) benchmark::DoNotOptimize(platform::waitForEvents(n, events.data(), 0));
    for (auto e : events) platform::closeEventObject(e);
}
BENCHMARK(BM_WaitForEventsReady)->Arg(1)->Arg(64);

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
