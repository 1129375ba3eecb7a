// Test program: tolvik-perfmon's own run, with one collection handed in after
// init, for the tests that need a run that lasts. The collection comes from
// the environment: TOLVIK_TEST_OBJECT, TOLVIK_TEST_COUNTERS,
// TOLVIK_TEST_INSTANCES and TOLVIK_TEST_INTERVAL_MS.
#include "pipeline/input/CollectionConfig.h"
#include "pipeline/input/PerfMonitor.h"
#include "pipeline/input/RunPerfMon.h"
#include "platform/ConsoleControl.h"
#include "platform/Process.h"

#include <string>
#include <vector>

int main(int argc, char** argv) {
  platform::ignoreBrokenPipe();
  std::vector<std::wstring> args = platform::commandLineArguments(argc, argv);
  std::vector<const wchar_t*> wideArgv;
  for (const auto& a : args) wideArgv.push_back(a.c_str());
  wideArgv.push_back(nullptr);

  CollectionConfig collection;
  collection.name = L"handed-in";
  collection.object = platform::getEnvironmentVariable(L"TOLVIK_TEST_OBJECT");
  collection.counters = platform::getEnvironmentVariable(L"TOLVIK_TEST_COUNTERS");
  collection.instances = platform::getEnvironmentVariable(L"TOLVIK_TEST_INSTANCES");
  collection.mode = PERFMON_MODE_SINGLE;
  collection.interval = std::stoll(L"0" + platform::getEnvironmentVariable(L"TOLVIK_TEST_INTERVAL_MS"));

  return runPerfMon(wideArgv.data(), static_cast<int>(args.size()),
                    [&collection](PerfMonitor& monitor) { monitor.getCollections().push_back(&collection); });
}
