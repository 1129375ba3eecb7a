#include "platform/ResourceUsage.h"

#include <sys/resource.h>

namespace platform {

bool resourceUsage(UsageOf who, ResourceUsage& out)
{
    const int whom = who == UsageOf::callingThread ? RUSAGE_THREAD
                     : who == UsageOf::process     ? RUSAGE_SELF
                                                   : RUSAGE_CHILDREN;
    rusage u {};
    if (getrusage(whom, &u) != 0)
        return false;
    out.cpuSeconds = static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec)
                     + static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
    out.peakResidentKb = u.ru_maxrss;
    return true;
}

} // namespace platform
