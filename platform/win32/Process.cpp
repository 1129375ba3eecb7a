#include "platform/Process.h"

#include <windows.h>
#include <shellapi.h>


namespace platform {

namespace {

HANDLE toHandle(std::intptr_t h) { return reinterpret_cast<HANDLE>(h); }

}  // namespace

std::wstring getEnvironmentVariable(const std::wstring& name) {
  std::wstring value(64, L'\0');
  for (;;) {
    DWORD n = GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    if (n == 0) return std::wstring();
    if (n < value.size()) {
      value.resize(n);
      return value;
    }
    value.resize(n);
  }
}

bool setEnvironmentVariable(const std::wstring& name, const std::wstring& value) {
  // Both the OS block (seen by children) and the C run time's copy.
  return SetEnvironmentVariableW(name.c_str(), value.c_str()) != 0 &&
         _wputenv_s(name.c_str(), value.c_str()) == 0;
}

std::uint32_t currentProcessId() noexcept { return GetCurrentProcessId(); }

void exitProcessNow(int code) noexcept {
  // No DLL detach and no run-time clean-up, unlike ExitProcess.
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  ExitProcess(static_cast<UINT>(code));
}

std::vector<std::wstring> commandLineArguments(int, char**) {
  std::vector<std::wstring> args;
  int count = 0;
  LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &count);
  if (!argv) return args;
  args.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) args.emplace_back(argv[i]);
  LocalFree(argv);
  return args;
}

bool isNoSuchProcessError(std::uint32_t error) noexcept {
  return error == ERROR_INVALID_PARAMETER || error == ERROR_PATH_NOT_FOUND;
}

bool ProcessWatch::open(std::uint32_t pid) {
  close();
  HANDLE h = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
  if (!h) return false;
  handle_ = reinterpret_cast<std::intptr_t>(h);
  return true;
}

bool ProcessWatch::hasEnded() const {
  DWORD code = 0;
  return isOpen() && GetExitCodeProcess(toHandle(handle_), &code) && code != STILL_ACTIVE;
}

bool ProcessWatch::waitForEnd() const {
  if (!isOpen()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
  }
  return WaitForSingleObject(toHandle(handle_), INFINITE) == WAIT_OBJECT_0;
}

void ProcessWatch::close() noexcept {
  if (isOpen()) {
    DWORD saved = GetLastError();
    CloseHandle(toHandle(handle_));
    SetLastError(saved);
    handle_ = INVALID;
  }
}

ManualResetEvent::~ManualResetEvent() {
  if (handle_ != -1) CloseHandle(toHandle(handle_));
}

bool ManualResetEvent::create() {
  HANDLE h = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (!h) return false;
  handle_ = reinterpret_cast<std::intptr_t>(h);
  return true;
}

bool ManualResetEvent::set() { return SetEvent(toHandle(handle_)) != 0; }

WaitOutcome waitForEventOrProcess(const ManualResetEvent& event, const ProcessWatch& process) {
  HANDLE handles[2] = {toHandle(event.nativeHandle()), toHandle(process.nativeHandle())};
  switch (WaitForMultipleObjects(2, handles, FALSE, INFINITE)) {
    case WAIT_OBJECT_0: return WaitOutcome::EventSet;
    case WAIT_OBJECT_0 + 1: return WaitOutcome::ProcessEnded;
    default: return WaitOutcome::Failed;
  }
}

}  // namespace platform
