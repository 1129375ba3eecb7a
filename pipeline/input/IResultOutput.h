#pragma once

#include <cstdint>

#include "foundation/Str.h"
#include "pipeline/input/CounterEntry.h"

// Where collectQueryData delivers the values of one tick.
class IResultOutput {
public:
    // 1 if values are gathered into one table per tick; the value filters apply only at 0.
    virtual std::int32_t isTable() = 0;
    virtual void addResult(const CounterEntry& entry, const double* value, const Str& timestamp) = 0;
    // Called once after the last value of a tick.
    virtual void completeOutput() = 0;
    virtual ~IResultOutput() = default;
};

// Ends every header line and every event on the stream.
inline constexpr char PERFMON_EVENT_MARKER[] = "\n---tolvik-perfmon-end-of-event---\n";
