#pragma once

#include <cstdio>

#include "pipeline/input/IResultOutput.h"

// One event per value, written whole and flushed at once so that the reader
// of the pipe never sees half an event.
class ResultToStdout : public IResultOutput {
public:
    // out is standard output but for tests.
    explicit ResultToStdout(std::FILE* out = stdout) : out(out) {}

    std::int32_t isTable() override { return 0; }
    void addResult(const CounterEntry& entry, const double* value, const Str& timestamp) override;
    void completeOutput() override {}

private:
    std::FILE* out;
};
