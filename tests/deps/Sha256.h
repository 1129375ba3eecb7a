#pragma once

#include <string>
#include <string_view>

// SHA-256 of data as lowercase hex, through the platform's crypto library
// (OpenSSL's EVP on Linux, CNG on Windows); empty on failure.
std::string sha256Hex(std::string_view data);
