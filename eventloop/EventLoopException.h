#pragma once

#include <stdexcept>
#include <string>

class Logger;

// Failures of the loop's OS calls. Each throw is logged at WARN first.
class EventLoopException : public std::runtime_error {
public:
    explicit EventLoopException(const std::string& message) : std::runtime_error(message) {}
};

class PollableDescriptorException : public std::runtime_error {
public:
    explicit PollableDescriptorException(const std::string& message) : std::runtime_error(message) {}
};

class SelfPipeException : public std::runtime_error {
public:
    explicit SelfPipeException(const std::string& message) : std::runtime_error(message) {}
};

// "<thread>: about to throw a <className>: <message>: winsock error <n>",
// logged on `category` and returned for the throw.
std::string eventLoopFailureText(Logger& category, const char* className, const char* message, int socketError);

// Logs and throws an EventLoopException on the "EventLoop" category.
[[noreturn]] void throwEventLoopException(const char* message, int socketError);
