#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

// Thrown by Thread and the waiting primitives when the OS fails them. Every
// throw is logged at WARN on the "Thread" category first.
class ThreadException : public std::runtime_error {
public:
    explicit ThreadException(const std::string& message) : std::runtime_error(message) {}
};

// Cleared once, by shutdown code, so that waits on half-destroyed objects stop
// complaining; never set again.
void disableThreadChecks();
bool threadChecksAreEnabled();

// Logs and throws "<thread>: about to throw a ThreadException: <callName>:
// <OS error text>; <n> threads active" from the last OS error. Returns without
// a word when thread checks are disabled.
void throwThreadFailure(const char* callName);
// Throws a ThreadException with the given text, logged first.
[[noreturn]] void throwThreadException(const std::string& message);

// Turns a wait result into true (signalled) or false (timed out, when
// allowed); throws for anything else. Always true with checks disabled.
bool checkWaitResult(bool allowTimeout, std::uint32_t result, const char* callName);
