#include "platform/ConsoleControl.h"

#include <windows.h>

#include "platform/ConsoleHandlerList.h"

namespace platform {

namespace {

// One system handler walks our list, so that the handler's signature and the
// order (newest first) are the same on every platform.
ConsoleHandlerList& handlers() {
  static ConsoleHandlerList list;
  return list;
}

BOOL WINAPI onControl(DWORD code) { return handlers().run(code) ? TRUE : FALSE; }

}  // namespace

bool addConsoleCtrlHandler(ConsoleCtrlHandler handler) {
  const auto added = handlers().add(handler, [] { return SetConsoleCtrlHandler(onControl, TRUE) != FALSE; });
  if (added == ConsoleHandlerList::Added::full) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return added == ConsoleHandlerList::Added::yes;
}

void ignoreBrokenPipe() noexcept {}

}  // namespace platform
