#include "pipeline/input/RunPerfMon.h"
#include "platform/ConsoleControl.h"
#include "platform/Process.h"

#include <string>
#include <vector>

int main(int argc, char** argv) {
  // Standard output may be a pipe whose reader is gone; a write must fail, not kill us.
  platform::ignoreBrokenPipe();
  std::vector<std::wstring> args = platform::commandLineArguments(argc, argv);
  std::vector<const wchar_t*> wideArgv;
  wideArgv.reserve(args.size() + 1);
  for (const auto& a : args) wideArgv.push_back(a.c_str());
  wideArgv.push_back(nullptr);
  return runPerfMon(wideArgv.data(), static_cast<int>(args.size()));
}
