#include "platform/ConsoleControl.h"

#include <windows.h>

#include <mutex>

namespace platform {

namespace {

constexpr int MAX_HANDLERS = 8;

// One system handler walks our list, so that the handler's signature and the
// order (newest first) are the same on every platform.
struct ControlState {
  std::mutex lock;
  ConsoleCtrlHandler handlers[MAX_HANDLERS] = {};
  int count = 0;
  bool registered = false;
};

ControlState& state() {
  static ControlState s;
  return s;
}

BOOL WINAPI onControl(DWORD code) {
  ControlState& s = state();
  ConsoleCtrlHandler handlers[MAX_HANDLERS];
  int count;
  {
    std::lock_guard<std::mutex> guard(s.lock);
    count = s.count;
    for (int i = 0; i < count; ++i) handlers[i] = s.handlers[i];
  }
  for (int i = count - 1; i >= 0; --i) {
    if (handlers[i](code)) return TRUE;
  }
  return FALSE;
}

}  // namespace

bool addConsoleCtrlHandler(ConsoleCtrlHandler handler) {
  ControlState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  if (s.count == MAX_HANDLERS) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
  }
  if (!s.registered) {
    if (!SetConsoleCtrlHandler(onControl, TRUE)) return false;
    s.registered = true;
  }
  s.handlers[s.count++] = handler;
  return true;
}

void ignoreBrokenPipe() noexcept {}

}  // namespace platform
