#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Process-level services: the environment, the process's own id and end, the
// command line in wide form, and a watch on another process's end.
namespace platform {

// The value of an environment variable; empty when it is unset.
std::wstring getEnvironmentVariable(const std::wstring& name);
// Sets it for this process and the children it starts afterwards.
bool setEnvironmentVariable(const std::wstring& name, const std::wstring& value);

std::uint32_t currentProcessId() noexcept;

// Ends the process at once: no exit handlers, no destructors, no flushing.
[[noreturn]] void exitProcessNow(int code) noexcept;

// The process's arguments as wide strings; argc and argv are main's own.
std::vector<std::wstring> commandLineArguments(int argc, char** argv);

// True for the OS errors that mean "no such process" when opening one.
bool isNoSuchProcessError(std::uint32_t error) noexcept;

// Another process, held open so that its end can be seen and waited for.
class ProcessWatch {
public:
  ProcessWatch() = default;
  ~ProcessWatch() { close(); }
  ProcessWatch(ProcessWatch&& other) noexcept : handle_(other.handle_) { other.handle_ = INVALID; }
  ProcessWatch& operator=(ProcessWatch&& other) noexcept {
    if (this != &other) {
      close();
      handle_ = other.handle_;
      other.handle_ = INVALID;
    }
    return *this;
  }
  ProcessWatch(const ProcessWatch&) = delete;
  ProcessWatch& operator=(const ProcessWatch&) = delete;

  // False, with the OS error kept, if the process can't be opened.
  bool open(std::uint32_t pid);
  bool isOpen() const noexcept { return handle_ != INVALID; }
  // True once the process has ended. A process whose exit code is the
  // OS's "still active" value can't be told apart from a running one.
  bool hasEnded() const;
  // Blocks until the process ends; false if the wait itself failed.
  bool waitForEnd() const;
  void close() noexcept;

  std::intptr_t nativeHandle() const noexcept { return handle_; }

private:
  static constexpr std::intptr_t INVALID = -1;
  std::intptr_t handle_ = INVALID;
};

// A manual-reset event: once set it stays set.
class ManualResetEvent {
public:
  ManualResetEvent() = default;
  ~ManualResetEvent();
  ManualResetEvent(const ManualResetEvent&) = delete;
  ManualResetEvent& operator=(const ManualResetEvent&) = delete;

  // False, with the OS error kept, if the OS object can't be made.
  bool create();
  bool set();

  std::intptr_t nativeHandle() const noexcept { return handle_; }

private:
  std::intptr_t handle_ = -1;
};

enum class WaitOutcome { EventSet, ProcessEnded, Failed };

// Waits without limit for whichever comes first.
WaitOutcome waitForEventOrProcess(const ManualResetEvent& event, const ProcessWatch& process);

}  // namespace platform
