#include "platform/ConsoleControl.h"

#include "platform/Threads.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace platform {

namespace {

constexpr int MAX_HANDLERS = 8;

// The signal handler only writes the control code into a pipe; a thread of
// its own reads it and runs the handlers, as the console's thread would.
struct ControlState {
  std::mutex lock;
  ConsoleCtrlHandler handlers[MAX_HANDLERS] = {};
  int count = 0;
  int pipe[2] = {-1, -1};
};

ControlState& state() {
  static ControlState s;
  return s;
}

// The pipe's write end as the signal handler sees it; set before the handler
// is installed.
int g_writeEnd = -1;

int signalFor(std::uint32_t code) { return code == CTRL_CODE_INTERRUPT ? SIGINT : SIGTERM; }

void onSignal(int sig) {
  int saved = errno;
  char code = sig == SIGINT ? static_cast<char>(CTRL_CODE_INTERRUPT) : static_cast<char>(CTRL_CODE_BREAK);
  [[maybe_unused]] ssize_t n = ::write(g_writeEnd, &code, 1);
  errno = saved;
}

unsigned dispatch(void*) {
  ControlState& s = state();
  for (;;) {
    char code;
    ssize_t n = ::read(s.pipe[0], &code, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return 0;
    ConsoleCtrlHandler handlers[MAX_HANDLERS];
    int count;
    {
      std::lock_guard<std::mutex> guard(s.lock);
      count = s.count;
      for (int i = 0; i < count; ++i) handlers[i] = s.handlers[i];
    }
    bool handled = false;
    for (int i = count - 1; i >= 0 && !handled; --i) handled = handlers[i](static_cast<std::uint32_t>(code));
    if (!handled) {
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

bool routeSignals(ControlState& s) {
  if (::pipe2(s.pipe, O_CLOEXEC) != 0) return false;
  std::uint32_t id = 0;
  platform::ThreadHandle thread = createThread(0, dispatch, nullptr, &id);
  if (!thread) {
    int saved = errno;
    ::close(s.pipe[0]);
    ::close(s.pipe[1]);
    s.pipe[0] = s.pipe[1] = -1;
    errno = saved;
    return false;
  }
  closeThreadHandle(thread);
  g_writeEnd = s.pipe[1];
  struct sigaction action = {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  return ::sigaction(SIGINT, &action, nullptr) == 0 && ::sigaction(SIGTERM, &action, nullptr) == 0;
}

}  // namespace

bool addConsoleCtrlHandler(ConsoleCtrlHandler handler) {
  ControlState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  if (s.count == MAX_HANDLERS) {
    errno = ENOMEM;
    return false;
  }
  if (s.pipe[0] < 0 && !routeSignals(s)) return false;
  s.handlers[s.count++] = handler;
  return true;
}

void ignoreBrokenPipe() noexcept { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace platform
