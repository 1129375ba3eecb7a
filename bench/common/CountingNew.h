#pragma once

#include <cstdint>

#include <benchmark/benchmark.h>

// Calls of the global operator new so far; this program replaces it to count.
std::uint64_t allocationCount();

// Counts the allocations made by the timed work itself, leaving out the
// framework's own between iterations, and reports them per iteration.
class AllocationCounter {
public:
    explicit AllocationCounter(benchmark::State& s) : state(s) {}
    ~AllocationCounter()
    {
        state.counters["allocs/iter"] =
            benchmark::Counter(static_cast<double>(total) / static_cast<double>(state.iterations()));
    }
    void begin() { start = allocationCount(); }
    void end() { total += allocationCount() - start; }

private:
    benchmark::State& state;
    std::uint64_t start = 0;
    std::uint64_t total = 0;
};
