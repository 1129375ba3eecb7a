#pragma once

#include <cstdio>
#include <map>
#include <vector>

#include "pipeline/input/IResultOutput.h"

// One table per tick: a row per instance, a column per counter. Built anew
// for every tick, so nothing is carried over.
class ResultToMultikvStdout : public IResultOutput {
public:
    // out is standard output but for tests.
    explicit ResultToMultikvStdout(std::FILE* out = stdout) : out(out) {}

    std::int32_t isTable() override { return 1; }
    void addResult(const CounterEntry& entry, const double* value, const Str& timestamp) override;
    void completeOutput() override;

private:
    struct MultikvHeader {
        bool started = false;
        Str index;
        Str collection;
        Str object;
        Str category;
        std::uint32_t mode = 0;
        Str timestamp;
        std::vector<Str> columns;  // in order of first appearance
    };
    struct Cell {
        Str rowName;
        Str value;
    };

    std::FILE* out;
    MultikvHeader header;
    std::map<Str, std::map<Str, Cell>> rows;  // byte order of the instance names
};
