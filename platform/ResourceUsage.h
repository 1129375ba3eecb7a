#pragma once

namespace platform {

// What the system has counted against a set of threads or processes: CPU time
// (user and system) and the peak resident memory.
struct ResourceUsage {
    double cpuSeconds = 0;
    long peakResidentKb = 0;
};

enum class UsageOf {
    callingThread,
    process,
    // Children that have ended and been waited for, with all their own.
    waitedChildren,
};

// False where the system keeps no such count (children, on Windows).
bool resourceUsage(UsageOf who, ResourceUsage& out);

} // namespace platform
