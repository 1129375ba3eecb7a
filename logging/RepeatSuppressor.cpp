#include "logging/RepeatSuppressor.h"

#include "logging/Logger.h"

RepeatSuppressor::RepeatSuppressor(Logger& category_, std::int32_t threshold_, std::int32_t windowSeconds_)
    : category(category_), threshold(threshold_), windowSeconds(windowSeconds_), clock(&SystemClock::instance())
{
}

RepeatSuppressor::~RepeatSuppressor()
{
    flush();
}

void RepeatSuppressor::setClock(const IClock& clock_)
{
    std::lock_guard<std::mutex> lock(section);
    clock = &clock_;
}

void RepeatSuppressor::log(std::int32_t level, const char* format, const Str& message)
{
    std::lock_guard<std::mutex> lock(section);
    auto [it, added] = entries.try_emplace(Str(format != nullptr ? format : ""));
    if (added) {
        SuppressedMessage& e = it->second;
        e.format = it->first;
        e.lastMessage = message;
        e.level = level;
        e.threshold = threshold;
        e.windowSeconds = windowSeconds;
    }
    // Every entry gets a look, so that any log through this category reports
    // whatever has been held past its window.
    Timeval now = clock->now();
    for (auto e = entries.begin(); e != entries.end();) {
        if (decide(e->second, now, e == it ? &message : nullptr))
            e = entries.erase(e);
        else
            ++e;
    }
}

bool RepeatSuppressor::decide(SuppressedMessage& entry, Timeval now, const Str* message)
{
    bool fresh = message != nullptr && !message->empty();
    if (fresh) {
        ++entry.count;
        entry.lastMessage = *message;
    }
    bool over = entry.count > entry.threshold;
    bool expired = entry.firstSuppressed != MAX_TIME && now.secondsSince(entry.firstSuppressed) > entry.windowSeconds;
    if (!fresh && !expired)
        return false;
    if (fresh && over && !expired) {
        if (now < entry.firstSuppressed)
            entry.firstSuppressed = now;
        return false;
    }
    Str text = entry.lastMessage;
    std::int32_t extra = entry.count - entry.threshold;
    emit(entry, text);
    return extra > 0;
}

void RepeatSuppressor::emit(SuppressedMessage& entry, Str& text)
{
    std::int32_t extra = entry.count - entry.threshold;
    if (extra > 0) {
        text.append("\r\n\t\t\t\t");
        text.appendSigned(extra);
        text.append(" similar messages suppressed.  First occurred at: ");
        text.append(entry.firstSuppressed.toString());
        entry.count = 0;
    }
    ::log(category, entry.level, text);
    entry.firstSuppressed = MAX_TIME;
}

void RepeatSuppressor::flush()
{
    std::lock_guard<std::mutex> lock(section);
    // Messages under the threshold went out when they came; only held ones
    // are still to be told.
    for (auto e = entries.begin(); e != entries.end();) {
        if (e->second.count > e->second.threshold) {
            Str text = e->second.lastMessage;
            emit(e->second, text);
            e = entries.erase(e);
        } else {
            ++e;
        }
    }
}
