#include "logging/Logger.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "logging/Appender.h"
#include "logging/LogRegistry.h"
#include "logging/RepeatSuppressor.h"
#include "platform/Clock.h"
#include "platform/ErrorStream.h"
#include "platform/FaultGuard.h"
#include "platform/OsError.h"

namespace {

const char* const levelNames[] = {"DEBUG", "INFO", "NOTICE", "WARN", "ERROR", "CRIT", "ALERT", "FATAL", "EMERG"};
constexpr std::int32_t levelCount = static_cast<std::int32_t>(sizeof levelNames / sizeof levelNames[0]);

// The root appender before any configuration: the error stream, "%m%n".
class ErrorStreamAppender : public Appender {
public:
    bool append(const LogEvent&, const Str& message) override
    {
        Str line;
        line.reserve(message.size() + 2);
        line.append(message).append("\r\n");
        platform::writeToErrorStream(line.data(), line.size());
        return true;
    }
};

struct LogState {
    std::atomic<bool> loggingConfigured{false};
    std::atomic<bool> stderrFallbackDisabled{false};
    std::mutex pendingMutex;
    Logger* pendingCategories = nullptr;
    std::once_flag startTimeOnce;
    Timeval startTime;
    std::mutex configsMutex;
    std::map<std::string, LoggerConfig, std::less<>> configs;
    LoggerConfig root;
    ErrorStreamAppender errorStreamAppender;
    std::atomic<Appender*> rootAppender{&errorStreamAppender};
};

// Never destroyed: static objects log from their destructors.
LogState& state()
{
    static LogState* s = new LogState();
    return *s;
}

Timeval currentTime()
{
    return Timeval(platform::systemTimeTicks());
}

// printf into out without touching the heap while the arguments are read, so
// that a fault in the middle leaves nothing half-allocated.
void appendVFormat(Str& out, const char* format, va_list args)
{
    char buffer[1024];
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(buffer, sizeof buffer, format, copy);
    va_end(copy);
    if (n < 0)
        return;
    if (static_cast<std::size_t>(n) < sizeof buffer) {
        out.append(buffer, static_cast<std::size_t>(n));
        return;
    }
    std::size_t start = out.size();
    out.resize(start + static_cast<std::size_t>(n) + 1);
    va_copy(copy, args);
    std::vsnprintf(out.data() + start, static_cast<std::size_t>(n) + 1, format, copy);
    va_end(copy);
    out.resize(start + static_cast<std::size_t>(n));
}

// Copies format into scratch with each "%m" replaced by the error text.
// Answers false, leaving scratch alone, if there is no "%m".
bool expandErrorConversions(Str& scratch, std::uint32_t lastError, const char* format)
{
    const char* p = format;
    bool found = false;
    while ((p = std::strchr(p, '%')) != nullptr) {
        if (p[1] == 'm') {
            found = true;
            break;
        }
        p += p[1] == '%' ? 2 : 1;
    }
    if (!found)
        return false;
    Str text;
    errorString(text, lastError);
    scratch.clear();
    const char* run = format;
    p = format;
    while ((p = std::strchr(p, '%')) != nullptr) {
        if (p[1] == 'm') {
            scratch.append(run, p);
            scratch.append(text);
            p += 2;
            run = p;
        } else {
            p += p[1] == '%' ? 2 : 1;
        }
    }
    scratch.append(run);
    return true;
}

void formatInto(Str& out, Str& scratch, std::uint32_t lastError, LogFormatCallback* callback, const char* format,
                va_list args)
{
    if (format == nullptr)
        format = "";
    if (expandErrorConversions(scratch, lastError, format))
        format = scratch.c_str();
    out.clear();
    if (callback != nullptr)
        callback->before(out);
    appendVFormat(out, format, args);
    if (callback != nullptr)
        callback->after(out);
}

// Formatting runs user arguments; it is the one step that runs under the
// fault guard. Its strings belong to the caller, so a fault leaks nothing.
struct FormatJob {
    Str* out;
    Str* scratch;
    std::uint32_t lastError;
    LogFormatCallback* callback;
    const char* format;
    va_list* args;
    bool threw;
};

void runFormatJob(void* p)
{
    FormatJob& job = *static_cast<FormatJob*>(p);
    try {
        formatInto(*job.out, *job.scratch, job.lastError, job.callback, job.format, *job.args);
    } catch (...) {
        job.threw = true;
    }
}

bool formatGuarded(Str& out, std::uint32_t lastError, LogFormatCallback* callback, const char* format, va_list args)
{
    Str scratch;
    va_list copy;
    va_copy(copy, args);
    FormatJob job{&out, &scratch, lastError, callback, format, &copy, false};
    bool completed = platform::runFaultGuarded(runFormatJob, &job);
    va_end(copy);
    if (!completed) {
        logInternal(nullptr, LOG_LEVEL_FATAL, "caught SEH exception while trying to log!");
        return false;
    }
    return !job.threw;
}

void dispatch(Logger& category, LoggerConfig& config, std::int32_t level, const Str& message)
{
    LogEvent event{currentTime(), &category, level};
    bool taken = false;
    if (config.appenders.empty()) {
        taken = rootAppender().append(event, message);
    } else {
        for (Appender* a : config.appenders)
            taken = a->append(event, message) || taken;
    }
    if (!taken)
        writeLogFallback(level, message);
}

LoggerConfig* configOf(Logger& category)
{
    LoggerConfig* c = category.config.load(std::memory_order_acquire);
    return c != nullptr ? c : &state().root;
}

// A category not yet constructed (used from another module's static
// initialiser) isn't on the pending list and can't be resolved.
bool unresolvable(const Logger& category)
{
    return category.name == nullptr && !state().loggingConfigured.load(std::memory_order_acquire);
}

void logFormatted(Logger& category, std::int32_t level, LogFormatCallback* callback, const char* format,
                  va_list args)
{
    platform::LastOsErrorSaver saver;
    try {
        Str message;
        if (unresolvable(category)) {
            if (formatGuarded(message, saver.code(), callback, format, args))
                writeLogFallback(level, message);
            return;
        }
        LoggerConfig* config = configOf(category);
        if (level < config->level.load(std::memory_order_relaxed))
            return;
        if (!formatGuarded(message, saver.code(), callback, format, args))
            return;
        if (category.suppressor != nullptr)
            category.suppressor->log(level, format, message);
        else
            dispatch(category, *config, level, message);
    } catch (...) {
        // A log call never throws; an allocation failure loses the message.
    }
}

void logText(Logger& category, std::int32_t level, const Str& message)
{
    platform::LastOsErrorSaver saver;
    try {
        if (unresolvable(category)) {
            writeLogFallback(level, message);
            return;
        }
        LoggerConfig* config = configOf(category);
        if (level >= config->level.load(std::memory_order_relaxed))
            dispatch(category, *config, level, message);
    } catch (...) {
    }
}

void logException(Logger& category, std::int32_t level, const std::exception& e)
{
    if (category.isEnabled(level))
        log(category, level, nullptr, "%s", e.what());
}

// Depth of logInternal on this thread: an appender that fails while reporting
// another's failure must not bounce messages back and forth for ever.
thread_local int internalDepth = 0;

}  // namespace

const char* logLevelName(std::int32_t level) noexcept
{
    return level >= 0 && level < levelCount ? levelNames[level] : "???";
}

bool parseLogLevel(const char* name, std::size_t length, std::int32_t& level) noexcept
{
    for (std::int32_t i = 0; i < levelCount; ++i) {
        if (std::strlen(levelNames[i]) == length && std::memcmp(levelNames[i], name, length) == 0) {
            level = i;
            return true;
        }
    }
    return false;
}

LogFormatCallback::~LogFormatCallback() = default;
void LogFormatCallback::before(Str&) {}
void LogFormatCallback::after(Str&) {}

Appender::~Appender() = default;

Logger::Logger(const char* name_, bool useSuppressor, std::int32_t windowSeconds, std::int32_t threshold)
    : name(name_), nameLength(std::strlen(name_)), config(nullptr), nextPending(nullptr), suppressor(nullptr)
{
    if (useSuppressor)
        suppressor = new RepeatSuppressor(*this, threshold, windowSeconds);
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.pendingMutex);
    if (s.loggingConfigured.load(std::memory_order_relaxed)) {
        config.store(&loggerConfigFor(name, nameLength), std::memory_order_release);
    } else {
        nextPending = s.pendingCategories;
        s.pendingCategories = this;
    }
}

Logger::~Logger()
{
    LogState& s = state();
    {
        std::lock_guard<std::mutex> lock(s.pendingMutex);
        for (Logger** p = &s.pendingCategories; *p != nullptr; p = &(*p)->nextPending) {
            if (*p == this) {
                *p = nextPending;
                break;
            }
        }
    }
    RepeatSuppressor* held = suppressor;
    suppressor = nullptr;
    delete held;
}

#define TOLVIK_LEVEL_CALLS(Name, LEVEL)                                                          \
    void(log##Name)(Logger & category, const char* format, ...)                                  \
    {                                                                                            \
        if (!category.isEnabled(LEVEL))                                                          \
            return;                                                                              \
        va_list args;                                                                            \
        va_start(args, format);                                                                  \
        logFormatted(category, LEVEL, nullptr, format, args);                                    \
        va_end(args);                                                                            \
    }                                                                                            \
    void vlog##Name(Logger& category, const char* format, va_list args)                          \
    {                                                                                            \
        if (category.isEnabled(LEVEL))                                                           \
            logFormatted(category, LEVEL, nullptr, format, args);                                \
    }                                                                                            \
    void(log##Name)(Logger & category, LogFormatCallback & callback, const char* format, ...)   \
    {                                                                                            \
        if (!category.isEnabled(LEVEL))                                                          \
            return;                                                                              \
        va_list args;                                                                            \
        va_start(args, format);                                                                  \
        logFormatted(category, LEVEL, &callback, format, args);                                  \
        va_end(args);                                                                            \
    }                                                                                            \
    void(log##Name)(Logger & category, const Str& message)                                       \
    {                                                                                            \
        if (category.isEnabled(LEVEL))                                                           \
            logText(category, LEVEL, message);                                                   \
    }                                                                                            \
    void(log##Name)(Logger & category, const std::exception& e) { logException(category, LEVEL, e); }

TOLVIK_LEVEL_CALLS(Debug, LOG_LEVEL_DEBUG)
TOLVIK_LEVEL_CALLS(Info, LOG_LEVEL_INFO)
TOLVIK_LEVEL_CALLS(Warn, LOG_LEVEL_WARN)
TOLVIK_LEVEL_CALLS(Error, LOG_LEVEL_ERROR)
TOLVIK_LEVEL_CALLS(Crit, LOG_LEVEL_CRIT)
TOLVIK_LEVEL_CALLS(Fatal, LOG_LEVEL_FATAL)

#undef TOLVIK_LEVEL_CALLS

void log(Logger& category, std::int32_t level, LogFormatCallback* callback, const char* format, ...)
{
    if (!category.isEnabled(level))
        return;
    va_list args;
    va_start(args, format);
    logFormatted(category, level, callback, format, args);
    va_end(args);
}

void vlog(Logger& category, std::int32_t level, LogFormatCallback* callback, const char* format, va_list args)
{
    if (category.isEnabled(level))
        logFormatted(category, level, callback, format, args);
}

void log(Logger& category, std::int32_t level, const Str& message)
{
    if (category.isEnabled(level))
        logText(category, level, message);
}

bool setLevel(const char* categoryName, const char* levelName)
{
    std::int32_t level;
    if (levelName == nullptr || !parseLogLevel(levelName, std::strlen(levelName), level))
        return false;
    if (categoryName != nullptr) {
        LoggerConfig& c = loggerConfigFor(categoryName, std::strlen(categoryName));
        c.level.store(level, std::memory_order_relaxed);
        c.levelSet = true;
        return true;
    }
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.configsMutex);
    if (!s.root.levelSet)
        s.root.level.store(level, std::memory_order_relaxed);
    for (auto& [name, c] : s.configs) {
        if (!c.levelSet)
            c.level.store(level, std::memory_order_relaxed);
    }
    return true;
}

void listLevels(std::map<Str, Str>& out)
{
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.configsMutex);
    for (auto& [name, c] : s.configs)
        out[Str(name)] = logLevelName(c.level.load(std::memory_order_relaxed));
}

void formatMessage(Str& out, std::uint32_t lastError, LogFormatCallback* callback, const char* format, va_list args)
{
    Str scratch;
    formatInto(out, scratch, lastError, callback, format, args);
}

Str errorString(std::uint32_t code)
{
    Str out;
    errorString(out, code);
    return out;
}

// --- the process-wide state ---

LoggerConfig& rootLoggerConfig()
{
    return state().root;
}

LoggerConfig& loggerConfigFor(const char* name, std::size_t length)
{
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.configsMutex);
    std::string_view key(name, length);
    auto it = s.configs.find(key);
    if (it != s.configs.end())
        return it->second;
    LoggerConfig& c = s.configs.try_emplace(std::string(key)).first->second;
    c.level.store(s.root.level.load(std::memory_order_relaxed), std::memory_order_relaxed);
    c.appenders = s.root.appenders;
    return c;
}

void resolveCategories()
{
    logStartTime();
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.pendingMutex);
    s.loggingConfigured.store(true, std::memory_order_release);
    for (Logger* p = s.pendingCategories; p != nullptr;) {
        Logger* next = p->nextPending;
        p->config.store(&loggerConfigFor(p->name, p->nameLength), std::memory_order_release);
        p->nextPending = nullptr;
        p = next;
    }
    s.pendingCategories = nullptr;
}

bool isLoggingConfigured()
{
    return state().loggingConfigured.load(std::memory_order_acquire);
}

void setStderrFallbackDisabled(bool disabled)
{
    state().stderrFallbackDisabled.store(disabled, std::memory_order_relaxed);
}

Timeval logStartTime()
{
    LogState& s = state();
    std::call_once(s.startTimeOnce, [&s] { s.startTime = currentTime(); });
    return s.startTime;
}

Appender& rootAppender()
{
    return *state().rootAppender.load(std::memory_order_acquire);
}

Appender* exchangeRootAppender(Appender* appender)
{
    return state().rootAppender.exchange(appender, std::memory_order_acq_rel);
}

void writeLogFallback(std::int32_t level, const Str& message)
{
    if (state().stderrFallbackDisabled.load(std::memory_order_relaxed))
        return;
    Str line;
    line.reserve(message.size() + 16);
    line.append(logLevelName(level)).append(" - ").append(message).append("\r\n");
    platform::writeToErrorStream(line.data(), line.size());
}

Logger& internalLogger()
{
    static Logger* logger = new Logger("Logger", false, 60, 100);
    return *logger;
}

void(logInternal)(Appender* skipAppender, std::int32_t level, const char* format, ...)
{
    platform::LastOsErrorSaver saver;
    try {
        Str message;
        va_list args;
        va_start(args, format);
        formatMessage(message, saver.code(), nullptr, format, args);
        va_end(args);

        Logger& category = internalLogger();
        bool taken = false;
        if (internalDepth < 2) {
            struct Depth {
                Depth() { ++internalDepth; }
                ~Depth() { --internalDepth; }
            } depth;
            LogEvent event{currentTime(), &category, level};
            LoggerConfig* config = configOf(category);
            if (config->appenders.empty()) {
                Appender& root = rootAppender();
                if (&root != skipAppender)
                    taken = root.append(event, message);
            } else {
                for (Appender* a : config->appenders) {
                    if (a != skipAppender)
                        taken = a->append(event, message) || taken;
                }
            }
        }
        if (!taken)
            writeLogFallback(level, message);
    } catch (...) {
    }
}
