#pragma once

#include <cstddef>
#include <cstdint>

#include "logging/Logger.h"
#include "time/Timeval.h"

class Appender;

// The process-wide state behind the loggers, for the log configuration and
// for tests. Nothing here is needed to log.

// Level INFO and no appenders (meaning the root appender) until configured.
LoggerConfig& rootLoggerConfig();
// Finds or creates the config of a category name; a new one copies the root's
// level and appender list.
LoggerConfig& loggerConfigFor(const char* name, std::size_t length);

// Gives every pending category its config; categories built later resolve at
// once.
void resolveCategories();
bool isLoggingConfigured();

void setStderrFallbackDisabled(bool disabled);
// Sets the start time on the first call: the base of the layouts' %r and %R.
Timeval logStartTime();

// The root appender: the error stream with "%m%n" until the configuration
// installs its own. exchangeRootAppender answers the previous one.
Appender& rootAppender();
Appender* exchangeRootAppender(Appender* appender);

// "<level name> - <message>\r\n" to the error stream, unless disabled.
void writeLogFallback(std::int32_t level, const Str& message);

// The category "Logger", for troubles of the logging itself.
Logger& internalLogger();
// Sends to the "Logger" category's appenders other than skipAppender (or to
// the root appender unless that is the one skipped), else to the error stream.
void logInternal(Appender* skipAppender, std::int32_t level, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
#if defined(__GNUC__) && !defined(__clang__)
#define logInternal(...) (__extension__ ::logInternal(__VA_ARGS__))
#endif
