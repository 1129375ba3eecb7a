#include "platform/ChildProcess.h"

#include "platform/Process.h"

#include <windows.h>

#include <thread>

namespace platform {

namespace {

HANDLE toHandle(std::intptr_t h) { return reinterpret_cast<HANDLE>(h); }

void closeHandle(std::intptr_t& h) {
  if (h != -1) CloseHandle(toHandle(h));
  h = -1;
}

// Quotes one argument so that the child's CommandLineToArgvW gives it back.
void appendQuoted(std::wstring& line, const std::wstring& arg) {
  if (!arg.empty() && arg.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    line += arg;
    return;
  }
  line += L'"';
  std::size_t backslashes = 0;
  for (wchar_t c : arg) {
    if (c == L'\\') {
      ++backslashes;
      continue;
    }
    line.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
    backslashes = 0;
    line += c;
  }
  line.append(backslashes * 2, L'\\');
  line += L'"';
}

void drain(HANDLE pipe, std::string* sink) {
  char buffer[4096];
  DWORD got = 0;
  while (ReadFile(pipe, buffer, sizeof buffer, &got, nullptr) && got > 0) sink->append(buffer, got);
}

bool makePipe(std::intptr_t& parentEnd, HANDLE& childEnd, bool childReads) {
  SECURITY_ATTRIBUTES sa{sizeof sa, nullptr, TRUE};
  HANDLE read = nullptr, write = nullptr;
  if (!CreatePipe(&read, &write, &sa, 0)) return false;
  HANDLE mine = childReads ? write : read;
  childEnd = childReads ? read : write;
  SetHandleInformation(mine, HANDLE_FLAG_INHERIT, 0);
  parentEnd = reinterpret_cast<std::intptr_t>(mine);
  return true;
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (process_ != -1 && !reaped_) {
    TerminateProcess(toHandle(process_), 1);
    WaitForSingleObject(toHandle(process_), INFINITE);
  }
  closeHandle(process_);
  closeHandle(input_);
  closeHandle(outputPipe_);
  closeHandle(errorPipe_);
}

bool ChildProcess::start(const std::wstring& program, const std::vector<std::wstring>& arguments,
                         const std::vector<std::wstring>& environment) {
  HANDLE childIn = nullptr, childOut = nullptr, childErr = nullptr;
  if (!makePipe(input_, childIn, true) || !makePipe(outputPipe_, childOut, false) ||
      !makePipe(errorPipe_, childErr, false)) {
    return false;
  }

  std::wstring commandLine;
  appendQuoted(commandLine, program);
  for (const auto& a : arguments) {
    commandLine += L' ';
    appendQuoted(commandLine, a);
  }
  // A process can't start without these, whatever the caller asks for.
  std::wstring block;
  for (const wchar_t* name : {L"SystemRoot", L"SystemDrive", L"windir", L"TEMP", L"TMP"}) {
    std::wstring value = getEnvironmentVariable(name);
    if (!value.empty()) block += std::wstring(name) + L"=" + value + L'\0';
  }
  for (const auto& e : environment) block += e + L'\0';
  block += L'\0';

  STARTUPINFOW si{};
  si.cb = sizeof si;
  si.dwFlags = STARTF_USESTDHANDLES;
  si.hStdInput = childIn;
  si.hStdOutput = childOut;
  si.hStdError = childErr;
  PROCESS_INFORMATION pi{};
  BOOL ok = CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                           CREATE_UNICODE_ENVIRONMENT | CREATE_NEW_PROCESS_GROUP, block.data(), nullptr, &si, &pi);
  DWORD error = GetLastError();
  CloseHandle(childIn);
  CloseHandle(childOut);
  CloseHandle(childErr);
  if (!ok) {
    SetLastError(error);
    return false;
  }
  CloseHandle(pi.hThread);
  process_ = reinterpret_cast<std::intptr_t>(pi.hProcess);
  pid_ = pi.dwProcessId;
  return true;
}

bool ChildProcess::readOutputLine(std::string& line) {
  line.clear();
  for (;;) {
    char c;
    DWORD got = 0;
    if (!ReadFile(toHandle(outputPipe_), &c, 1, &got, nullptr) || got == 0) return false;
    if (c == '\n') return true;
    if (c != '\r') line += c;
  }
}

void ChildProcess::closeInput() { closeHandle(input_); }

bool ChildProcess::sendControl(std::uint32_t code) {
  // Ctrl-C can't be aimed at one process group; Ctrl-Break can.
  return code == 1 && process_ != -1 && !reaped_ && GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, pid_);
}

bool ChildProcess::wait(std::uint32_t timeoutMs, int& exitCode) {
  std::thread outputReader(drain, toHandle(outputPipe_), &output_);
  std::thread errorReader(drain, toHandle(errorPipe_), &errors_);
  bool ended = WaitForSingleObject(toHandle(process_), timeoutMs) == WAIT_OBJECT_0;
  if (!ended) {
    TerminateProcess(toHandle(process_), 1);
    WaitForSingleObject(toHandle(process_), INFINITE);
  }
  outputReader.join();
  errorReader.join();
  reaped_ = true;
  DWORD code = 0;
  if (!ended || !GetExitCodeProcess(toHandle(process_), &code)) return false;
  exitCode = static_cast<int>(code);
  return true;
}

void ChildProcess::detach() {
  closeHandle(input_);
  closeHandle(outputPipe_);
  closeHandle(errorPipe_);
  closeHandle(process_);
  pid_ = 0;
}

bool adoptOrphans() { return true; }

OtherProcess::~OtherProcess() {
  if (handle_ != -1) CloseHandle(toHandle(handle_));
}

bool OtherProcess::open(std::uint32_t pid) {
  HANDLE h = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE, FALSE, pid);
  if (!h) return false;
  pid_ = pid;
  handle_ = reinterpret_cast<std::intptr_t>(h);
  return true;
}

bool OtherProcess::wait(std::uint32_t timeoutMs, int& exitCode) {
  if (WaitForSingleObject(toHandle(handle_), timeoutMs) != WAIT_OBJECT_0) {
    TerminateProcess(toHandle(handle_), 1);
    return false;
  }
  DWORD code = 0;
  if (!GetExitCodeProcess(toHandle(handle_), &code)) return false;
  exitCode = static_cast<int>(code);
  return true;
}

}  // namespace platform
