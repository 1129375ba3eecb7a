#pragma once

#include <cstdint>
#include <string>

#include "foundation/Str.h"
#include "pdh/PdhApi.h"

// One PDH counter on its way through the monitor. Held by value and copied freely.
struct CounterEntry {
    PDH_HCOUNTER handle = nullptr;
    std::wstring collection;
    std::wstring object;
    std::wstring counter;
    std::wstring instance;  // possibly numbered "name#k"; empty if the object has none
    std::wstring category;
    std::uint32_t mode = 0;  // 0 single, 1 multikv
    std::wstring path;
    double lastValue = 0.0;
    Str index;
};
