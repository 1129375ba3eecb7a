#include "logging/LogCapture.h"

#include "logging/LogRegistry.h"

LogCapture::LogCapture(std::int32_t rootLevel)
    : previous(exchangeRootAppender(this)), previousLevel(rootLoggerConfig().level.load())
{
    rootLoggerConfig().level.store(rootLevel);
}

LogCapture::~LogCapture()
{
    rootLoggerConfig().level.store(previousLevel);
    exchangeRootAppender(previous);
}

bool LogCapture::append(const LogEvent& event, const Str& message)
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!accepting)
        return false;
    Str category = event.category != nullptr && event.category->name != nullptr ? Str(event.category->name) : Str();
    captured.push_back(Entry{event.level, std::move(category), message});
    return true;
}

std::vector<LogCapture::Entry> LogCapture::entries() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return captured;
}

bool LogCapture::contains(std::string_view text) const
{
    std::lock_guard<std::mutex> lock(mutex);
    for (const Entry& e : captured) {
        if (e.message.find(text) != std::string::npos)
            return true;
    }
    return false;
}

std::size_t LogCapture::count() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return captured.size();
}

void LogCapture::clear()
{
    std::lock_guard<std::mutex> lock(mutex);
    captured.clear();
}

void LogCapture::setAccepting(bool accepting_)
{
    std::lock_guard<std::mutex> lock(mutex);
    accepting = accepting_;
}
