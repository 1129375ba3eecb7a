#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Runs another program as a child with its own environment and pipes on its
// standard input, output and error. Made for driving the tool's binary from
// tests.
namespace platform {

class ChildProcess {
public:
  ChildProcess() = default;
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Starts program with the arguments after the program name. The child's
  // environment is exactly `environment` ("NAME=value" entries), plus on
  // Windows the few system variables a process needs to run at all.
  bool start(const std::wstring& program, const std::vector<std::wstring>& arguments,
             const std::vector<std::wstring>& environment);

  std::uint32_t pid() const noexcept { return pid_; }

  // Reads standard output up to and without the next newline; false at its end.
  bool readOutputLine(std::string& line);
  void closeInput();

  // Asks the child to stop the way a console user would: code 0 is SIGINT
  // (Ctrl-C), 1 is SIGTERM (Ctrl-Break). False if it can't be delivered.
  bool sendControl(std::uint32_t code);

  // Reads both output streams to their end and collects the exit code. On
  // timeout the child is killed and the answer is false.
  bool wait(std::uint32_t timeoutMs, int& exitCode);

  // Lets the child run on by itself: the pipes are closed and it is
  // neither waited for nor killed.
  void detach();

  const std::string& output() const noexcept { return output_; }
  const std::string& errors() const noexcept { return errors_; }

private:
  std::uint32_t pid_ = 0;
  std::intptr_t process_ = -1;
  std::intptr_t input_ = -1;
  std::intptr_t outputPipe_ = -1;
  std::intptr_t errorPipe_ = -1;
  bool reaped_ = false;
  std::string output_;
  std::string errors_;
};

// From now on, orphans of this process's children become its own (POSIX
// "subreaper"), so that a grandchild's exit code can be collected; elsewhere
// nothing is needed.
bool adoptOrphans();

// A process this one didn't start itself, opened early so that its exit code
// stays readable.
class OtherProcess {
public:
  OtherProcess() = default;
  ~OtherProcess();
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  bool open(std::uint32_t pid);
  bool wait(std::uint32_t timeoutMs, int& exitCode);

private:
  std::uint32_t pid_ = 0;
  std::intptr_t handle_ = -1;
};

}  // namespace platform
