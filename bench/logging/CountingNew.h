#pragma once

#include <cstdint>

// operator new calls made by the whole program so far.
std::uint64_t allocationCount();
