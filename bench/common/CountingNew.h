#pragma once

#include <cstdint>

// Calls of the global operator new so far; this program replaces it to count.
std::uint64_t allocationCount();
