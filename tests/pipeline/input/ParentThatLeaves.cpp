// Test helper: starts the program named by its first argument, with the
// remaining arguments, the TOLVIK_ variables of the tests passed on and TOLVIKD_PROCESSID set to this
// process's id. Prints the child's id on a line, waits for its own standard
// input to close, and ends, leaving the child behind.
#include "platform/ChildProcess.h"
#include "platform/Process.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  std::vector<std::wstring> args = platform::commandLineArguments(argc, argv);
  if (args.size() < 2) return 2;
  std::vector<std::wstring> childArgs(args.begin() + 2, args.end());
  std::vector<std::wstring> environment{L"TOLVIKD_PROCESSID=" + std::to_wstring(platform::currentProcessId())};
  for (const wchar_t* name : {L"TOLVIK_HOME", L"TOLVIK_PDH_SCRIPT", L"TOLVIK_TEST_OBJECT", L"TOLVIK_TEST_COUNTERS",
                              L"TOLVIK_TEST_INSTANCES", L"TOLVIK_TEST_INTERVAL_MS"}) {
    std::wstring value = platform::getEnvironmentVariable(name);
    if (!value.empty()) environment.push_back(std::wstring(name) + L"=" + value);
  }
  platform::ChildProcess child;
  if (!child.start(args[1], childArgs, environment)) return 3;
  std::printf("%u\n", static_cast<unsigned>(child.pid()));
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  child.detach();
  return 0;
}
