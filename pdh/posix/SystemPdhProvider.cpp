#include "pdh/PdhProvider.h"
#include "pdh/procfs/ProcfsPdhProvider.h"

// No system PDH here: the counters come from /proc and /sys.
std::unique_ptr<PdhProvider> makeSystemPdhProvider(std::string& /*error*/)
{
    return std::make_unique<ProcfsPdhProvider>(ProcfsPdhProvider::Options());
}
