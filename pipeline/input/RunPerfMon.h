#pragma once

#include <cstdint>
#include <functional>

class PerfMonitor;

// The whole run, from the command line to the exit code.
int runPerfMon(const wchar_t* const* argv, int argc);

// The same run, with afterInit called once the monitor has read its
// collections: the way a test program hands in collections of its own.
int runPerfMon(const wchar_t* const* argv, int argc, const std::function<void(PerfMonitor&)>& afterInit);

// Handed to the process-level signal set-up: asks the run to stop.
void perfMonStopCallback(void* argument);

// Console control: codes 0 and 1 stop the run and count as handled; others
// go on to the next handler and the system's default.
bool perfMonConsoleCtrlHandler(std::uint32_t code);
