#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <vector>

#include "foundation/Str.h"

class Appender;
class RepeatSuppressor;
namespace platform {
class Signer;
}

// Levels: larger is more severe.
constexpr std::int32_t LOG_LEVEL_DEBUG = 0;
constexpr std::int32_t LOG_LEVEL_INFO = 1;
constexpr std::int32_t LOG_LEVEL_NOTICE = 2;
constexpr std::int32_t LOG_LEVEL_WARN = 3;
constexpr std::int32_t LOG_LEVEL_ERROR = 4;
constexpr std::int32_t LOG_LEVEL_CRIT = 5;
constexpr std::int32_t LOG_LEVEL_ALERT = 6;
constexpr std::int32_t LOG_LEVEL_FATAL = 7;
constexpr std::int32_t LOG_LEVEL_EMERG = 8;

// "DEBUG" ... "EMERG"; "???" for any other value.
const char* logLevelName(std::int32_t level) noexcept;
// Exact, case-sensitive match of name[0, length); false if it names no level.
bool parseLogLevel(const char* name, std::size_t length, std::int32_t& level) noexcept;

// Per-category settings, one per category name. Read without a lock on the log
// path: only the level changes after configuration, as one word.
struct LoggerConfig {
    std::atomic<std::int32_t> level{LOG_LEVEL_INFO};
    bool levelSet = false;
    // Empty means the root appender.
    std::vector<Appender*> appenders;
};

// Writes text around a formatted message.
class LogFormatCallback {
public:
    virtual ~LogFormatCallback();
    virtual void before(Str& out);
    virtual void after(Str& out);
};

// A log category: one static object per source module, named after it, e.g.
//   static Logger logger("EventLoop", false, 60, 100);
// Categories built before the log configuration is read wait on a pending list
// and use the root settings until then.
class Logger {
public:
    Logger(const char* name, bool useSuppressor, std::int32_t windowSeconds, std::int32_t threshold);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // The cheap test made before anything is formatted. Unresolved categories
    // answer true and are decided on the slow path.
    bool isEnabled(std::int32_t level) const noexcept
    {
        const LoggerConfig* c = config.load(std::memory_order_acquire);
        return c == nullptr || level >= c->level.load(std::memory_order_relaxed);
    }

    const char* name;
    std::size_t nameLength;
    std::atomic<LoggerConfig*> config;
    Logger* nextPending;
    RepeatSuppressor* suppressor;
};

// printf-style calls, one per level. "%m" stands for the text of the last OS
// error, read when the call starts. A log call never throws and leaves the last
// OS error as it found it.
void logDebug(Logger& category, const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);
void logInfo(Logger& category, const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);
void logWarn(Logger& category, const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);
void logError(Logger& category, const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);
void logCrit(Logger& category, const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);
void logFatal(Logger& category, const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);

void vlogDebug(Logger& category, const char* format, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);
void vlogInfo(Logger& category, const char* format, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);
void vlogWarn(Logger& category, const char* format, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);
void vlogError(Logger& category, const char* format, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);
void vlogCrit(Logger& category, const char* format, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);
void vlogFatal(Logger& category, const char* format, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);

void logDebug(Logger& category, LogFormatCallback& callback, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
void logInfo(Logger& category, LogFormatCallback& callback, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
void logWarn(Logger& category, LogFormatCallback& callback, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
void logError(Logger& category, LogFormatCallback& callback, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
void logCrit(Logger& category, LogFormatCallback& callback, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
void logFatal(Logger& category, LogFormatCallback& callback, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);

// Already formatted text: taken as it is, never held by a suppressor.
void logDebug(Logger& category, const Str& message);
void logInfo(Logger& category, const Str& message);
void logWarn(Logger& category, const Str& message);
void logError(Logger& category, const Str& message);
void logCrit(Logger& category, const Str& message);
void logFatal(Logger& category, const Str& message);

// The exception's what() text.
void logDebug(Logger& category, const std::exception& e);
void logInfo(Logger& category, const std::exception& e);
void logWarn(Logger& category, const std::exception& e);
void logError(Logger& category, const std::exception& e);
void logCrit(Logger& category, const std::exception& e);
void logFatal(Logger& category, const std::exception& e);

// Any level, e.g. LOG_LEVEL_NOTICE; callback may be null.
void log(Logger& category, std::int32_t level, LogFormatCallback* callback, const char* format, ...)
    TOLVIK_PRINTF_FORMAT(4, 5);
void vlog(Logger& category, std::int32_t level, LogFormatCallback* callback, const char* format, va_list args)
    TOLVIK_PRINTF_FORMAT(4, 0);
void log(Logger& category, std::int32_t level, const Str& message);

// With a category name, sets that category's level for good; with null, every
// category whose level wasn't set by name. False for an unknown level name.
bool setLevel(const char* categoryName, const char* levelName);

// Category name -> level name, for every known category.
void listLevels(std::map<Str, Str>& out);

// Replaces each "%m" of format (not "%%m") by errorString(lastError), then
// printf-formats into out between the callback's before and after texts.
void formatMessage(Str& out, std::uint32_t lastError, LogFormatCallback* callback, const char* format,
                   va_list args) TOLVIK_PRINTF_FORMAT(4, 0);

// The system's text for an OS error code, with fallbacks for the ADSI and WMI
// ranges and a generic text for unknown codes.
void errorString(Str& out, std::uint32_t code);
Str errorString(std::uint32_t code);

// Logs "Audit:[text][signature]" at INFO and leaves that line in out. The
// signature is "n/a" without a key and "encryption error - not valid" if
// signing fails. logAudit signs with the private key; logAuditPublic encrypts
// the digest with the public key.
void logAudit(Logger& category, const platform::Signer* key, const Str& text, Str& out);
void logAudit(Logger& category, const platform::Signer* key, const Str& text);
void logAuditPublic(Logger& category, const platform::Signer* key, const Str& text, Str& out);
void logAuditPublic(Logger& category, const platform::Signer* key, const Str& text);

// GCC's -Wpedantic calls "%m" a non-ISO printf conversion and would flag every
// call that uses it; __extension__ lifts only that complaint and keeps the
// argument checks. (Define these functions with the name in parentheses.)
#if defined(__GNUC__) && !defined(__clang__)
#define logDebug(...) (__extension__ ::logDebug(__VA_ARGS__))
#define logInfo(...) (__extension__ ::logInfo(__VA_ARGS__))
#define logWarn(...) (__extension__ ::logWarn(__VA_ARGS__))
#define logError(...) (__extension__ ::logError(__VA_ARGS__))
#define logCrit(...) (__extension__ ::logCrit(__VA_ARGS__))
#define logFatal(...) (__extension__ ::logFatal(__VA_ARGS__))
#endif
