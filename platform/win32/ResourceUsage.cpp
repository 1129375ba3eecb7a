#include "platform/ResourceUsage.h"

#include <windows.h>
#include <psapi.h>

namespace platform {

namespace {

double seconds(const FILETIME& t)
{
    return static_cast<double>((static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime) / 1e7;
}

} // namespace

bool resourceUsage(UsageOf who, ResourceUsage& out)
{
    FILETIME created, exited, kernel, user;
    if (who == UsageOf::waitedChildren)
        return false;
    const BOOL ok = who == UsageOf::callingThread
                        ? GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user)
                        : GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
    if (!ok)
        return false;
    out.cpuSeconds = seconds(kernel) + seconds(user);
    PROCESS_MEMORY_COUNTERS memory {};
    memory.cb = sizeof(memory);
    out.peakResidentKb = GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory))
                             ? static_cast<long>(memory.PeakWorkingSetSize / 1024)
                             : 0;
    return true;
}

} // namespace platform
