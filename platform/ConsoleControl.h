#pragma once

#include <cstdint>

// Console control events: Ctrl-C is code 0 and Ctrl-Break code 1 on Windows;
// elsewhere SIGINT arrives as 0 and SIGTERM as 1. Handlers run on a thread of
// their own, the most recently added first, until one answers true; when none
// does, the system's default action follows (the process ends).
namespace platform {

inline constexpr std::uint32_t CTRL_CODE_INTERRUPT = 0;
inline constexpr std::uint32_t CTRL_CODE_BREAK = 1;

using ConsoleCtrlHandler = bool (*)(std::uint32_t code);

// False, with the OS error kept, if the handler couldn't be put in place.
bool addConsoleCtrlHandler(ConsoleCtrlHandler handler);

// A write to a closed pipe fails instead of ending the process.
void ignoreBrokenPipe() noexcept;

}  // namespace platform
