#pragma once

#include <cstddef>
#include <string>

#include "pdh/procfs/ProcfsSample.h"

// The performance objects that /proc and /sys can stand for, with their
// counters under the names, units and meaning the monitor's stanzas expect.

enum class ProcfsObjectId { Processor, Memory, LogicalDisk, PhysicalDisk, NetworkInterface, Process, System, PagingFile };

struct ProcfsCounterDef {
    const wchar_t* name;
    bool rate;          // needs two samples
    unsigned sources;   // what a collect must read for it
    const wchar_t* explain;
};

struct ProcfsObjectDef {
    ProcfsObjectId id;
    const wchar_t* name;
    bool hasInstances;
    bool hasTotal;  // lists "_Total" after its instances
    const ProcfsCounterDef* counters;
    std::size_t counterCount;
};

// All objects, in the order they are listed.
const ProcfsObjectDef* procfsObjects(std::size_t& count);

// What a value read needs beyond the two samples.
struct ProcfsContext {
    double ticksPerSecond = 100;  // the unit of process and processor times
};

// Where a counter's instance is found in a sample: the k-th entry of a name,
// the entry at a known position, or the total.
struct ProcfsInstanceRef {
    static constexpr std::size_t BY_NAME = static_cast<std::size_t>(-1);
    std::string name;  // UTF-8, compared without regard to ASCII case
    unsigned index = 0;
    bool total = false;
    std::size_t position = BY_NAME;
};

enum class ProcfsResult {
    Ok,
    NoInstance,  // no such instance now
    Invalid,     // the instance is there but its value can't be had: a source
                 // unreadable, or a rate without an earlier sample of it
};

// The value of counter (an index into the object's counters) for one instance
// (ignored by objects without instances), from the latest and the earlier sample.
ProcfsResult procfsValue(const ProcfsObjectDef& object, std::size_t counter, const ProcfsInstanceRef& instance,
                         const ProcfsSample& current, const ProcfsSample& previous, const ProcfsContext& context,
                         double& value);

// The instances of object in sample, in listing order, "_Total" not counted.
std::size_t procfsInstanceCount(const ProcfsObjectDef& object, const ProcfsSample& sample);
const std::string& procfsInstanceName(const ProcfsObjectDef& object, const ProcfsSample& sample,
                                      std::size_t position);

// The sources that listing object's instances needs.
unsigned procfsInstanceSources(const ProcfsObjectDef& object);

bool procfsNameEquals(const std::string& a, const std::string& b);

