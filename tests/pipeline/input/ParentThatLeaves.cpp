// Test helper: starts the program named by its first argument, with the
// remaining arguments, TOLVIK_HOME passed on and TOLVIKD_PROCESSID set to this
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
  std::vector<std::wstring> environment{
      L"TOLVIK_HOME=" + platform::getEnvironmentVariable(L"TOLVIK_HOME"),
      L"TOLVIKD_PROCESSID=" + std::to_wstring(platform::currentProcessId())};
  platform::ChildProcess child;
  if (!child.start(args[1], childArgs, environment)) return 3;
  std::printf("%u\n", static_cast<unsigned>(child.pid()));
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  child.detach();
  return 0;
}
