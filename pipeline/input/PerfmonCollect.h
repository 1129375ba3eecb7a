#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "foundation/Str.h"
#include "pdh/PdhApi.h"
#include "pipeline/input/CounterEntry.h"
#include "pipeline/input/PerfmonOptions.h"
#include "platform/LocalZone.h"

namespace PerfmonHelper {

// "\nMM/DD/YYYY hh:mm:ss.mmm +hh00\n". The zone is whole hours, and the
// daylight bias counts in every season: that is the stream's established form.
Str formatTimestamp(const platform::LocalTime& time, std::int32_t bias, std::int32_t daylightBias);

// Takes one sample of query and writes the values of entries to out, as events
// or as one table by the mode of the first entry. Logs and returns on failure.
void collectQueryData(const PerfmonOptions* options, PDH_HQUERY query, const std::vector<CounterEntry>& entries,
                      std::FILE* out = stdout);

}  // namespace PerfmonHelper
