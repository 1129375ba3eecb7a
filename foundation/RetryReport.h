#pragma once

#include <cstdint>

#include "foundation/Str.h"
#include "time/Timeval.h"

// The outcome of an operation that may have been tried more than once.
struct RetryReport {
    Str operation;
    bool succeeded = false;
    uint32_t status = 0;   // last OS error, 0 if none
    uint32_t attempts = 0;
    Timeval first;         // when the first attempt began
    Timeval last;          // when the last attempt began

    // "Rename failed in 3 attempt(s) made between <first> and <last> [status code: 32]"
    Str toString() const;
};
