#include "pdh/PdhProvider.h"

// No system PDH here: runs are driven by a script until /proc serves as a source.
std::unique_ptr<PdhProvider> makeSystemPdhProvider(std::string& error)
{
    error = "this platform has no PDH; set ";
    error += PDH_SCRIPT_VARIABLE;
    error += " to a counter script";
    return nullptr;
}
