#pragma once

#include "logging/Logger.h"
#include "pdh/PdhApi.h"

// The monitor's category object, shared by all of its code; runPerfMon has
// one of its own under the same name.
extern Logger perfmonLogger;

// PDH statuses are signed; messages print them, and code compares them, as
// PDH's unsigned codes.
inline unsigned pdhCode(PDH_STATUS status)
{
    return static_cast<unsigned>(status);
}

inline bool pdhIs(PDH_STATUS status, DWORD value)
{
    return static_cast<DWORD>(status) == value;
}
