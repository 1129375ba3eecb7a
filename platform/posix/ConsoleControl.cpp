#include "platform/ConsoleControl.h"

#include "platform/ConsoleHandlerList.h"
#include "platform/Threads.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

// The signal handler only writes the control code into a pipe; a thread of
// its own reads it and runs the handlers, as the console's thread would.
ConsoleHandlerList& handlers() {
  static ConsoleHandlerList list;
  return list;
}

// Made before the signal handler that writes into it is installed.
int g_pipe[2] = {-1, -1};

int signalFor(std::uint32_t code) { return code == CTRL_CODE_INTERRUPT ? SIGINT : SIGTERM; }

void onSignal(int sig) {
  int saved = errno;
  char code = sig == SIGINT ? static_cast<char>(CTRL_CODE_INTERRUPT) : static_cast<char>(CTRL_CODE_BREAK);
  [[maybe_unused]] ssize_t n = ::write(g_pipe[1], &code, 1);
  errno = saved;
}

unsigned dispatch(void*) {
  for (;;) {
    char code;
    ssize_t n = ::read(g_pipe[0], &code, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return 0;
    if (!handlers().run(static_cast<std::uint32_t>(code))) {
      // Nobody took it: the default action, death by that signal.
      int sig = signalFor(static_cast<std::uint32_t>(code));
      std::signal(sig, SIG_DFL);
      sigset_t set;
      sigemptyset(&set);
      sigaddset(&set, sig);
      pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
      ::raise(sig);
    }
  }
}

bool routeSignals() {
  if (::pipe2(g_pipe, O_CLOEXEC) != 0) return false;
  std::uint32_t id = 0;
  platform::ThreadHandle thread = createThread(0, dispatch, nullptr, &id);
  if (!thread) {
    int saved = errno;
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
    g_pipe[0] = g_pipe[1] = -1;
    errno = saved;
    return false;
  }
  closeThreadHandle(thread);
  struct sigaction action = {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  return ::sigaction(SIGINT, &action, nullptr) == 0 && ::sigaction(SIGTERM, &action, nullptr) == 0;
}

}  // namespace

bool addConsoleCtrlHandler(ConsoleCtrlHandler handler) {
  const auto added = handlers().add(handler, routeSignals);
  if (added == ConsoleHandlerList::Added::full) errno = ENOMEM;
  return added == ConsoleHandlerList::Added::yes;
}

void ignoreBrokenPipe() noexcept { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace platform
