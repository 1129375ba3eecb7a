#pragma once

#include "foundation/Str.h"

#include <cstdint>
#include <string>

// The parsed command line. One lives on runPerfMon's stack for the whole run.
struct PerfmonOptions {
  std::wstring collectionName;
  std::int32_t useConfFile = 1;
  std::int32_t showZero = 0;
  std::int32_t displayIfChanged = 0;
  std::int32_t test = 0;
  Str index;
};

// Fills options from argv (argv[0] is the program). False when the usage has
// to be printed instead of running.
bool parsePerfmonOptions(const wchar_t* const* argv, int argc, PerfmonOptions& options);

// The usage text, as it goes to standard error.
Str perfmonUsage();
