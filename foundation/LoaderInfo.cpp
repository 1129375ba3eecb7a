#include "foundation/LoaderInfo.h"

#include "platform/ConsoleControl.h"
#include "platform/OsError.h"
#include "platform/Process.h"
#include "platform/Threads.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <mutex>
#include <new>

namespace {

// The state of the signal set-up, made by its first call and kept for good.
struct SignalSetup {
  LoaderInfo::SignalCallback callback = nullptr;
  void* argument = nullptr;
  std::int32_t mode = 0;
  std::uint32_t pid = 0;
  platform::ManualResetEvent stopEvent;
  platform::ProcessWatch watched;
};

std::mutex* g_setupLock = nullptr;
SignalSetup* g_setup = nullptr;

// These failures leave the process without its way to stop: better to end now.
[[noreturn]] void failSetup(const char* format) {
  std::fprintf(stderr, format, static_cast<unsigned>(platform::lastOsError()));
  std::fflush(stderr);
  platform::exitProcessNow(1);
}

// The one stop request: signals the event and calls the callback once.
void trigger() {
  std::lock_guard<std::mutex> guard(*g_setupLock);
  if (!g_setup->callback) return;
  if (!g_setup->stopEvent.set()) failSetup("Error signaling event: SetEvent: %u\n");
  g_setup->callback(g_setup->argument);
  g_setup->callback = nullptr;
}

bool onConsoleControl(std::uint32_t code) {
  if (code != platform::CTRL_CODE_INTERRUPT && code != platform::CTRL_CODE_BREAK) return false;
  trigger();
  return true;
}

void startThread(platform::ThreadEntry body) {
  std::uint32_t id = 0;
  platform::ThreadHandle thread = platform::createThread(0, body, g_setup, &id);
  if (!thread) failSetup("Error creating a new thread: CreateThread: %u\n");
  platform::closeThreadHandle(thread);
}

void waitUntilWatchedEnds() {
  do {
    g_setup->watched.waitForEnd();
  } while (!g_setup->watched.hasEnded());
}

// Mode 3: without the parent this process has no reason to live, and no
// clean-up is worth the risk of hanging.
unsigned watchParent(void*) {
  waitUntilWatchedEnds();
  g_setup->watched.close();
  platform::exitProcessNow(99);
}

unsigned exitWhenWatchedEnds(void*) {
  waitUntilWatchedEnds();
  platform::exitProcessNow(2);
}

// Modes 1 and 2: the watched process ending counts as a stop request in
// mode 1 and ends this process with code 2 in mode 2.
unsigned watchProcess(void*) {
  SignalSetup& s = *g_setup;
  if (!s.watched.open(s.pid)) {
    platform::OsErrorCode error = platform::lastOsError();
    if (!platform::isNoSuchProcessError(error)) {
      std::fprintf(stderr, "Error waiting for process with PID %u to finish: OpenProcess: %u\n", s.pid,
                   static_cast<unsigned>(error));
      std::fflush(stderr);
      platform::exitProcessNow(1);
    }
    if (s.mode == 2) platform::exitProcessNow(2);
    trigger();
    return 0;
  }
  platform::WaitOutcome outcome = platform::waitForEventOrProcess(s.stopEvent, s.watched);
  if (outcome == platform::WaitOutcome::Failed) {
    std::fprintf(stderr, "Error waiting for process with PID %u to finish: WaitForMultipleObjects: %u\n", s.pid,
                 static_cast<unsigned>(platform::lastOsError()));
    std::fflush(stderr);
    platform::exitProcessNow(1);
  }
  if (s.mode == 2) {
    if (outcome == platform::WaitOutcome::ProcessEnded) platform::exitProcessNow(2);
    // Stopping on request; should the watched process still end first, the
    // code says so.
    startThread(exitWhenWatchedEnds);
  }
  trigger();
  return 0;
}

void watchParentFromEnvironment(SignalSetup& s) {
  std::wstring text = platform::getEnvironmentVariable(L"TOLVIKD_PROCESSID");
  if (text.size() > 50) text.resize(50);
  if (text.empty()) return;
  auto parent = static_cast<std::uint32_t>(std::wcstol(text.c_str(), nullptr, 10));
  if (!s.watched.open(parent)) platform::exitProcessNow(98);
  if (s.watched.hasEnded()) {
    s.watched.close();
    platform::exitProcessNow(97);
  }
  std::uint32_t id = 0;
  platform::ThreadHandle thread = platform::createThread(0, watchParent, nullptr, &id);
  if (!thread) {
    s.watched.close();
    platform::exitProcessNow(96);
  }
  platform::closeThreadHandle(thread);
}

bool isNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// Normalises the variable's path into field; a changed form goes back into
// the environment so that children see the same text.
void readPathVariable(const wchar_t* variable, Pathname& field) {
  std::wstring value = platform::getEnvironmentVariable(variable);
  if (value.empty()) return;
  field = Pathname(value);
  field.collapseSeparators().removeTrailingSeparators();
  if (field != value) platform::setEnvironmentVariable(variable, field);
}

}  // namespace

LoaderInfo::LoaderInfo()
    : componentName("tolvikd"),
      commonConfigPath(L"etc"),
      installName("myinstall"),
      managementPort(8089),
      processId(platform::currentProcessId()) {
  managementPortText.format("%d", managementPort);
  serverName = platform::getEnvironmentVariable(L"TOLVIK_SERVER_NAME");
  if (serverName.empty()) serverName = L"Tolvikd";
}

LoaderInfo* LoaderInfo::getInstance() {
  // Made on the main thread before any other thread exists.
  static LoaderInfo* instance = new (std::nothrow) LoaderInfo();
  return instance;
}

void LoaderInfo::initEnvironment() {
  readPathVariable(L"TOLVIK_HOME", home);
  readPathVariable(L"TOLVIK_DB", db);
  hasPython = (home / "bin" / "python.exe").exists();
}

Pathname LoaderInfo::getEtcPath(bool withHome) const {
  if (!withHome) return commonConfigPath;
  return home / commonConfigPath.toUtf8();
}

Str LoaderInfo::expandEnvironment(const char* text) {
  Str out;
  if (!text) return out;
  for (const char* p = text; *p;) {
    if (*p != '$') {
      out += *p++;
      continue;
    }
    const char* start = ++p;
    while (isNameChar(*p)) ++p;
    Str name(std::string(start, p));
    std::wstring value;
    if (!name.empty()) {
      std::wstring wideName;
      Str::appendUtf8(wideName, name.data(), name.size());
      value = platform::getEnvironmentVariable(wideName);
    }
    if (value.empty()) {
      out += '$';
      out += name;
    } else {
      out.appendWide(value);
    }
  }
  return out;
}

void LoaderInfo::setupSignalHandling(SignalCallback callback, void* argument, std::int32_t mode, std::uint32_t pid) {
  if (!g_setupLock) {
    g_setupLock = new (std::nothrow) std::mutex;
    if (!g_setupLock) failSetup("Memory error: malloc: %u\n");
  }
  {
    std::lock_guard<std::mutex> guard(*g_setupLock);
    if (g_setup) return;
    g_setup = new (std::nothrow) SignalSetup;
    if (!g_setup) failSetup("Memory error: calloc: %u\n");
    g_setup->callback = callback;
    g_setup->argument = argument;
    g_setup->mode = mode;
    g_setup->pid = pid;
    if (!g_setup->stopEvent.create()) failSetup("Error creating unnamed event: CreateEvent: %u\n");
  }
  if (mode == 3) {
    watchParentFromEnvironment(*g_setup);
  } else if (mode == 1 || mode == 2) {
    startThread(watchProcess);
  }
  if (!platform::addConsoleCtrlHandler(onConsoleControl)) {
    failSetup("Error setting up signal handler: SetConsoleCtrlHandler: %u\n");
  }
}
