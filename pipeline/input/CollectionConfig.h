#pragma once

#include <cstdint>
#include <string>

#include "foundation/Str.h"

// Output modes of a collection.
inline constexpr std::uint32_t PERFMON_MODE_SINGLE = 0;
inline constexpr std::uint32_t PERFMON_MODE_MULTIKV = 1;
inline constexpr std::uint32_t PERFMON_MODE_UNSET = 0xFFFFFFFF;

// One collection of counters as its stanza gives it.
struct CollectionConfig {
    std::uint8_t skipped = 0;  // start passes over a record in which this isn't 0
    std::wstring name;         // the stanza name without its prefix
    std::wstring host;         // kept, but the path's own machine decides
    std::wstring object;
    std::wstring category;
    std::uint32_t mode = PERFMON_MODE_UNSET;
    std::wstring counters;   // ";"-separated, "*" for all
    std::wstring instances;  // ";"-separated, "*" for all; empty means all
    std::int64_t interval = 0;  // milliseconds; 0 means not set, sampled once a second
    Str index;                  // empty or "default": the command line's -index
};
