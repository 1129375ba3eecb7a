#include "pipeline/input/RunPerfMon.h"

#include "eventloop/Thread.h"
#include "foundation/ComponentException.h"
#include "foundation/LoaderInfo.h"
#include "foundation/Pathname.h"
#include "logging/LogConfig.h"
#include "logging/Logger.h"
#include "pdh/PdhProvider.h"
#include "pipeline/input/PerfMonitor.h"
#include "pipeline/input/PerfmonOptions.h"
#include "platform/ConsoleControl.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <stdexcept>

namespace {

Logger logger("tolvik-perfmon", false, 60, 100);

// The running monitor, for the stop handlers, which run on threads of their
// own. The lock keeps a late handler from reaching a monitor that is gone.
std::mutex g_perfMonitorLock;
PerfMonitor* g_perfMonitor = nullptr;

void setPerfMonitor(PerfMonitor* monitor) {
  std::lock_guard<std::mutex> guard(g_perfMonitorLock);
  g_perfMonitor = monitor;
}

void stopPerfMonitor() {
  std::lock_guard<std::mutex> guard(g_perfMonitorLock);
  if (g_perfMonitor) g_perfMonitor->stop();
}

// Crash reports will be written into `directory` once the crash reporter is
// part of the build; nothing else needs setting up before then.
void installCrashHandlers(const Pathname& /*directory*/) {}

// What both catch clauses of runPerfMon do.
int failedRun(const std::exception& e) {
  setPerfMonitor(nullptr);
  logError(logger, "%s: Failed to run Tolvik Performance Monitor: '%s'", "runPerfMon", e.what());
  return -1;
}

}  // namespace

void perfMonStopCallback(void*) { stopPerfMonitor(); }

bool perfMonConsoleCtrlHandler(std::uint32_t code) {
  if (code != platform::CTRL_CODE_INTERRUPT && code != platform::CTRL_CODE_BREAK) return false;
  stopPerfMonitor();
  return true;
}

int runPerfMon(const wchar_t* const* argv, int argc) { return runPerfMon(argv, argc, {}); }

int runPerfMon(const wchar_t* const* argv, int argc, const std::function<void(PerfMonitor&)>& afterInit) {
  PerfmonOptions options;
  if (!parsePerfmonOptions(argv, argc, options)) {
    Str usage = perfmonUsage();
    std::fwrite(usage.data(), 1, usage.size(), stderr);
    return 1;
  }

  int exitCode = 0;
  try {
    LoaderInfo* loaderInfo = LoaderInfo::getInstance();
    if (!loaderInfo) {
      std::fprintf(stderr, "%s: Failed to run Tolvik Performance Monitor: error getting LoaderInfo instance.\n",
                   "runPerfMon");
      return 1;
    }
    loaderInfo->initEnvironment();
    Pathname home = loaderInfo->getHome();
    if (home.empty()) {
      std::fprintf(stderr, "%s: TOLVIK_HOME must be set.  Stopping.\n", "runPerfMon");
      return 1;
    }

    Pathname logConfig = home / "etc" / "log-cmdline.cfg";
    std::map<Str, Pathname> variables{{Str("TOLVIK_HOME"), home}};
    loadLogConfig(logConfig, nullptr, variables, true);
    logInfo(logger, "%s: Using logging configuration at %s", "runPerfMon", logConfig.toUtf8().c_str());

    // Where the counters come from is settled once, before any PDH call; a
    // broken counter script ends the run here, with its file and line.
    std::string providerError;
    if (!selectPdhProvider(providerError)) {
      logError(logger, "%s: Failed to choose a PDH provider: %s", "runPerfMon", providerError.c_str());
      std::fprintf(stderr, "%s: Failed to choose a PDH provider: %s\n", "runPerfMon", providerError.c_str());
      return -1;
    }

    installCrashHandlers(home / "var" / "log" / "tolvik");

    PerfMonitor monitor(&options);
    if (!monitor.init()) {
      logError(logger, "%s: Failed to initialize Performance Monitor", "runPerfMon");
      return -1;
    }
    if (afterInit) afterInit(monitor);

    FakeMainThread mainThread;
    LoaderInfo::setupSignalHandling(perfMonStopCallback, nullptr, 3, 0);
    if (!platform::addConsoleCtrlHandler(perfMonConsoleCtrlHandler)) {
      logError(logger, "%s: Failed to install the console control handler: %m", "runPerfMon");
    }
    setPerfMonitor(&monitor);

    if (options.test) {
      // The self-test joins with the counter browser; until then -test runs nothing.
      logError(logger, "%s: The self-test is not part of this build", "runPerfMon");
    } else if (!monitor.start()) {
      exitCode = -1;
    }
    setPerfMonitor(nullptr);
  } catch (const ComponentException& e) {
    exitCode = failedRun(e);
  } catch (const std::runtime_error& e) {
    exitCode = failedRun(e);
  }
  return exitCode;
}
