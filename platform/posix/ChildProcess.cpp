#include "platform/ChildProcess.h"

#include "platform/TextConv.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

std::string toUtf8(const std::wstring& text) {
  std::string out;
  appendWideAsUtf8(out, text.data(), text.size());
  return out;
}

int decodeStatus(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

int remainingMs(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

void closeFd(std::intptr_t& fd) {
  if (fd >= 0) ::close(static_cast<int>(fd));
  fd = -1;
}

// Polls for the exit of pid until the deadline; -2 on timeout.
int waitForPid(pid_t pid, Clock::time_point deadline) {
  for (;;) {
    int status = 0;
    pid_t r = ::waitpid(pid, &status, WNOHANG);
    if (r == pid) return decodeStatus(status);
    if (r < 0 && errno != ECHILD && errno != EINTR) return -1;
    if (Clock::now() >= deadline) return -2;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (pid_ != 0 && !reaped_) {
    ::kill(static_cast<pid_t>(pid_), SIGKILL);
    int status;
    ::waitpid(static_cast<pid_t>(pid_), &status, 0);
  }
  closeFd(input_);
  closeFd(outputPipe_);
  closeFd(errorPipe_);
}

bool ChildProcess::start(const std::wstring& program, const std::vector<std::wstring>& arguments,
                         const std::vector<std::wstring>& environment) {
  int in[2] = {-1, -1}, out[2] = {-1, -1}, err[2] = {-1, -1};
  if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
    int saved = errno;
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) {
      if (fd >= 0) ::close(fd);
    }
    errno = saved;
    return false;
  }

  std::vector<std::string> argStore{toUtf8(program)};
  for (const auto& a : arguments) argStore.push_back(toUtf8(a));
  std::vector<std::string> envStore;
  for (const auto& e : environment) envStore.push_back(toUtf8(e));
  std::vector<char*> argv, envp;
  for (auto& a : argStore) argv.push_back(a.data());
  argv.push_back(nullptr);
  for (auto& e : envStore) envp.push_back(e.data());
  envp.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  // The child starts with default signal handling whatever the test does.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGINT);
  sigaddset(&defaults, SIGTERM);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t pid = 0;
  int rc = ::posix_spawn(&pid, argv[0], &actions, &attr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  if (rc != 0) {
    ::close(in[1]);
    ::close(out[0]);
    ::close(err[0]);
    errno = rc;
    return false;
  }
  pid_ = static_cast<std::uint32_t>(pid);
  input_ = in[1];
  outputPipe_ = out[0];
  errorPipe_ = err[0];
  return true;
}

bool ChildProcess::readOutputLine(std::string& line) {
  line.clear();
  for (;;) {
    char c;
    ssize_t n = ::read(static_cast<int>(outputPipe_), &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    if (c == '\n') return true;
    line += c;
  }
}

void ChildProcess::closeInput() { closeFd(input_); }

bool ChildProcess::sendControl(std::uint32_t code) {
  return pid_ != 0 && !reaped_ && ::kill(static_cast<pid_t>(pid_), code == 0 ? SIGINT : SIGTERM) == 0;
}

bool ChildProcess::wait(std::uint32_t timeoutMs, int& exitCode) {
  auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  while (outputPipe_ >= 0 || errorPipe_ >= 0) {
    pollfd fds[2] = {{static_cast<int>(outputPipe_), POLLIN, 0}, {static_cast<int>(errorPipe_), POLLIN, 0}};
    int n = ::poll(fds, 2, remainingMs(deadline));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    std::intptr_t* pipes[2] = {&outputPipe_, &errorPipe_};
    std::string* sinks[2] = {&output_, &errors_};
    for (int i = 0; i < 2; ++i) {
      if (fds[i].revents == 0) continue;
      char buffer[4096];
      ssize_t got = ::read(fds[i].fd, buffer, sizeof buffer);
      if (got > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(got));
      } else if (got == 0 || errno != EINTR) {
        closeFd(*pipes[i]);
      }
    }
  }
  int code = waitForPid(static_cast<pid_t>(pid_), deadline);
  if (code == -2) {
    ::kill(static_cast<pid_t>(pid_), SIGKILL);
    int status;
    ::waitpid(static_cast<pid_t>(pid_), &status, 0);
    reaped_ = true;
    return false;
  }
  reaped_ = true;
  exitCode = code;
  return true;
}

void ChildProcess::detach() {
  closeFd(input_);
  closeFd(outputPipe_);
  closeFd(errorPipe_);
  pid_ = 0;
}

bool adoptOrphans() { return ::prctl(PR_SET_CHILD_SUBREAPER, 1) == 0; }

OtherProcess::~OtherProcess() = default;

bool OtherProcess::open(std::uint32_t pid) {
  if (::kill(static_cast<pid_t>(pid), 0) != 0) return false;
  pid_ = pid;
  return true;
}

bool OtherProcess::wait(std::uint32_t timeoutMs, int& exitCode) {
  // Until the process is adopted, waitpid answers ECHILD; keep trying.
  int code = waitForPid(static_cast<pid_t>(pid_), Clock::now() + std::chrono::milliseconds(timeoutMs));
  if (code == -2) {
    ::kill(static_cast<pid_t>(pid_), SIGKILL);
    return false;
  }
  exitCode = code;
  return true;
}

}  // namespace platform
