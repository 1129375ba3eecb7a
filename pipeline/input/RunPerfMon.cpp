#include "pipeline/input/RunPerfMon.h"

#include "eventloop/Event.h"
#include "eventloop/Mutex.h"
#include "eventloop/Thread.h"
#include "foundation/LoaderInfo.h"
#include "foundation/Pathname.h"
#include "logging/LogConfig.h"
#include "logging/Logger.h"
#include "pipeline/input/PerfmonOptions.h"
#include "platform/ConsoleControl.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <stdexcept>

namespace {

Logger logger("tolvik-perfmon", false, 60, 100);

// What a stop request reaches. The monitor's event loop takes this place
// once the monitor exists; until then the run waits on this event. The lock
// keeps a late handler from signalling an event that is already gone.
struct StopTarget {
  std::mutex lock;
  Event* event = nullptr;
};
StopTarget g_stopTarget;

void setStopTarget(Event* event) {
  std::lock_guard<std::mutex> guard(g_stopTarget.lock);
  g_stopTarget.event = event;
}

void requestStop() {
  std::lock_guard<std::mutex> guard(g_stopTarget.lock);
  if (g_stopTarget.event) g_stopTarget.event->signal();
}

// Crash reports will be written into `directory` once the crash reporter is
// part of the build; nothing else needs setting up before then.
void installCrashHandlers(const Pathname& /*directory*/) {}

}  // namespace

void perfMonStopCallback(void*) { requestStop(); }

bool perfMonConsoleCtrlHandler(std::uint32_t code) {
  if (code != platform::CTRL_CODE_INTERRUPT && code != platform::CTRL_CODE_BREAK) return false;
  requestStop();
  return true;
}

int runPerfMon(const wchar_t* const* argv, int argc) {
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

    installCrashHandlers(home / "var" / "log" / "tolvik");

    FakeMainThread mainThread;
    Event stopRequest;
    LoaderInfo::setupSignalHandling(perfMonStopCallback, nullptr, 3, 0);
    if (!platform::addConsoleCtrlHandler(perfMonConsoleCtrlHandler)) {
      logError(logger, "%s: Failed to install the console control handler: %m", "runPerfMon");
    }
    setStopTarget(&stopRequest);

    // The monitor's start takes this place: it runs until a stop request.
    Mutex mutex;
    {
      MutexLock lock(mutex);
      stopRequest.wait(mutex);
    }
    setStopTarget(nullptr);
  } catch (const std::runtime_error& e) {
    logError(logger, "%s: Failed to run Tolvik Performance Monitor: '%s'", "runPerfMon", e.what());
    exitCode = -1;
  }
  return exitCode;
}
