// The bare system calls under the POSIX event objects: eventfd write and
// read, poll over n ready descriptors, and an eventfd ping-pong between two
// threads (the floor for a cross-thread round trip).

#include <benchmark/benchmark.h>

#include <cstdint>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

void BM_EventfdWriteRead(benchmark::State& state)
{
    int fd = eventfd(0, EFD_NONBLOCK);
    std::uint64_t value = 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(write(fd, &value, sizeof value));
        benchmark::DoNotOptimize(read(fd, &value, sizeof value));
    }
    close(fd);
}
BENCHMARK(BM_EventfdWriteRead);

void BM_PollReady(benchmark::State& state)
{
    const auto n = static_cast<std::size_t>(state.range(0));
    std::vector<pollfd> fds(n);
    std::uint64_t one = 1;
    for (auto& p : fds) {
        p.fd = eventfd(0, EFD_NONBLOCK);
        p.events = POLLIN;
        benchmark::DoNotOptimize(write(p.fd, &one, sizeof one));
    }
    for (auto _ : state) benchmark::DoNotOptimize(poll(fds.data(), fds.size(), 0));
    for (auto& p : fds) close(p.fd);
}
BENCHMARK(BM_PollReady)->Arg(1)->Arg(2)->Arg(64)->Arg(128);

void waitAndConsume(int fd)
{
    pollfd p{fd, POLLIN, 0};
    std::uint64_t value;
    while (poll(&p, 1, -1) < 0) {
    }
    benchmark::DoNotOptimize(read(fd, &value, sizeof value));
}

void BM_EventfdPingPong(benchmark::State& state)
{
    int ping = eventfd(0, 0);
    int pong = eventfd(0, 0);
    std::uint64_t one = 1;
    std::uint64_t stop = 2;
    std::thread other([&] {
        for (;;) {
            pollfd p{ping, POLLIN, 0};
            std::uint64_t value;
            while (poll(&p, 1, -1) < 0) {
            }
            benchmark::DoNotOptimize(read(ping, &value, sizeof value));
            if (value == stop) return;
            benchmark::DoNotOptimize(write(pong, &one, sizeof one));
        }
    });
    for (auto _ : state) {
        benchmark::DoNotOptimize(write(ping, &one, sizeof one));
        waitAndConsume(pong);
    }
    benchmark::DoNotOptimize(write(ping, &stop, sizeof stop));
    other.join();
    close(ping);
    close(pong);
}
BENCHMARK(BM_EventfdPingPong)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
