#pragma once

#include <cstdint>

#include "foundation/Str.h"
#include "time/Timeval.h"

class Logger;

// One message on its way to the appenders.
struct LogEvent {
    Timeval time;
    Logger* category;
    std::int32_t level;
};

// Where formatted messages go. Appenders are shared by all threads and live
// for the whole process.
class Appender {
public:
    virtual ~Appender();
    // False if the message wasn't taken (the appender is disabled or its write
    // failed); the caller then falls back to the error stream.
    virtual bool append(const LogEvent& event, const Str& message) = 0;
};
