#pragma once

#include <string>
#include <string_view>

#include "foundation/Str.h"
#include "time/Timeval.h"

class Logger;

// Collects a message with insertion operators and logs it as one Str when it
// goes out of scope:
//   infoStream(logger) << "opened " << path << " in " << ms << "ms";
// Whether the level is enabled is tested once, when the stream is made; a
// disabled stream appends nothing.
class LogStream {
public:
    using Flush = void (*)(Logger& category, const Str& message);

    LogStream(Logger* target, Flush flush) noexcept : target(target), flush(flush) {}
    ~LogStream();
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    LogStream& operator<<(const char* text);
    LogStream& operator<<(char c);
    LogStream& operator<<(const std::string& text);
    LogStream& operator<<(std::string_view text);
    // Wide text, such as a Pathname, goes in as UTF-8.
    LogStream& operator<<(const std::wstring& text);
    LogStream& operator<<(std::wstring_view text);
    LogStream& operator<<(int value);
    LogStream& operator<<(unsigned value);
    LogStream& operator<<(long value);
    LogStream& operator<<(unsigned long value);
    LogStream& operator<<(long long value);
    LogStream& operator<<(unsigned long long value);
    LogStream& operator<<(double value);
    LogStream& operator<<(Timeval value);

private:
    Logger* target;
    Flush flush;
    Str text;
};

LogStream debugStream(Logger& category);
LogStream infoStream(Logger& category);
LogStream warnStream(Logger& category);
LogStream errorStream(Logger& category);
