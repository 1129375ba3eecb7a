#include "platform/Process.h"

#include "platform/TextConv.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {

std::string toUtf8(const std::wstring& text) {
  std::string out;
  appendWideAsUtf8(out, text.data(), text.size());
  return out;
}

std::wstring toWide(const char* text) {
  std::wstring out;
  appendUtf8AsWide(out, text, std::strlen(text));
  return out;
}

// Waits for POLLIN on the descriptors; answers the index of the first ready
// one, or -1 when poll failed.
int pollForInput(pollfd* fds, nfds_t count, int timeoutMs) {
  for (;;) {
    int n = ::poll(fds, count, timeoutMs);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    for (nfds_t i = 0; i < count; ++i) {
      if (fds[i].revents != 0) return static_cast<int>(i);
    }
    return static_cast<int>(count);  // timed out
  }
}

}  // namespace

std::wstring getEnvironmentVariable(const std::wstring& name) {
  const char* value = std::getenv(toUtf8(name).c_str());
  return value ? toWide(value) : std::wstring();
}

bool setEnvironmentVariable(const std::wstring& name, const std::wstring& value) {
  return ::setenv(toUtf8(name).c_str(), toUtf8(value).c_str(), 1) == 0;
}

std::uint32_t currentProcessId() noexcept { return static_cast<std::uint32_t>(::getpid()); }

void exitProcessNow(int code) noexcept { ::_exit(code); }

std::vector<std::wstring> commandLineArguments(int argc, char** argv) {
  std::vector<std::wstring> args;
  args.reserve(static_cast<std::size_t>(argc));
  for (int i = 0; i < argc; ++i) args.push_back(toWide(argv[i]));
  return args;
}

bool isNoSuchProcessError(std::uint32_t error) noexcept { return error == ESRCH || error == EINVAL; }

bool ProcessWatch::open(std::uint32_t pid) {
  close();
  // A pid that doesn't fit pid_t can't name a process.
  if (pid == 0 || pid > 0x7FFFFFFFu) {
    errno = EINVAL;
    return false;
  }
  long fd = ::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0);
  if (fd < 0) return false;
  handle_ = fd;
  return true;
}

bool ProcessWatch::hasEnded() const {
  if (!isOpen()) return false;
  pollfd fd{static_cast<int>(handle_), POLLIN, 0};
  return pollForInput(&fd, 1, 0) == 0;
}

bool ProcessWatch::waitForEnd() const {
  if (!isOpen()) {
    errno = EBADF;
    return false;
  }
  pollfd fd{static_cast<int>(handle_), POLLIN, 0};
  return pollForInput(&fd, 1, -1) == 0;
}

void ProcessWatch::close() noexcept {
  if (isOpen()) {
    int saved = errno;
    ::close(static_cast<int>(handle_));
    errno = saved;
    handle_ = INVALID;
  }
}

ManualResetEvent::~ManualResetEvent() {
  if (handle_ >= 0) ::close(static_cast<int>(handle_));
}

bool ManualResetEvent::create() {
  int fd = ::eventfd(0, EFD_CLOEXEC);
  if (fd < 0) return false;
  handle_ = fd;
  return true;
}

bool ManualResetEvent::set() {
  // Never read back, so the descriptor stays readable: a manual reset.
  std::uint64_t one = 1;
  return ::write(static_cast<int>(handle_), &one, sizeof one) == static_cast<ssize_t>(sizeof one);
}

WaitOutcome waitForEventOrProcess(const ManualResetEvent& event, const ProcessWatch& process) {
  pollfd fds[2] = {{static_cast<int>(event.nativeHandle()), POLLIN, 0},
                   {static_cast<int>(process.nativeHandle()), POLLIN, 0}};
  switch (pollForInput(fds, 2, -1)) {
    case 0: return WaitOutcome::EventSet;
    case 1: return WaitOutcome::ProcessEnded;
    default: return WaitOutcome::Failed;
  }
}

}  // namespace platform
