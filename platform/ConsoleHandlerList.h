#pragma once

#include <cstdint>
#include <mutex>

#include "platform/ConsoleControl.h"

// The handlers both platforms keep for console control events, run the most
// recently added first; the OS-specific part only delivers the code.
namespace platform {

class ConsoleHandlerList {
public:
  static constexpr int MAX_HANDLERS = 8;

  enum class Added { yes, full, setupFailed };

  // Before the first handler goes in, setup (run under the list's lock) puts
  // the system's delivery of the codes in place; false from it adds nothing.
  template <typename Setup>
  Added add(ConsoleCtrlHandler handler, Setup setup) {
    std::lock_guard<std::mutex> guard(lock);
    if (count == MAX_HANDLERS) return Added::full;
    if (!set && !setup()) return Added::setupFailed;
    set = true;
    handlers[count++] = handler;
    return Added::yes;
  }

  // Runs the handlers on a copy of the list, so that one may add another;
  // true once one answers true.
  bool run(std::uint32_t code) {
    ConsoleCtrlHandler copy[MAX_HANDLERS];
    int n;
    {
      std::lock_guard<std::mutex> guard(lock);
      n = count;
      for (int i = 0; i < n; ++i) copy[i] = handlers[i];
    }
    for (int i = n - 1; i >= 0; --i) {
      if (copy[i](code)) return true;
    }
    return false;
  }

private:
  std::mutex lock;
  ConsoleCtrlHandler handlers[MAX_HANDLERS] = {};
  int count = 0;
  bool set = false;
};

}  // namespace platform
