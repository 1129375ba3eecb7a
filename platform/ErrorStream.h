#pragma once

#include <cstddef>

namespace platform {

// Writes the bytes to the process's standard error handle with one write, so
// that lines from different threads don't interleave. Failures are ignored:
// this is the last place a message can go.
void writeToErrorStream(const char* data, std::size_t length) noexcept;

}  // namespace platform
