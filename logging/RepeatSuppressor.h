#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "foundation/Str.h"
#include "time/Clock.h"
#include "time/Timeval.h"

class Logger;

// One format's history in a RepeatSuppressor.
struct SuppressedMessage {
    Str format;
    Str lastMessage;
    std::int32_t level = 0;
    std::int32_t count = 0;
    std::int32_t threshold = 0;
    std::int32_t windowSeconds = 0;
    // MAX_TIME while nothing is held.
    Timeval firstSuppressed = MAX_TIME;
};

// Holds back a flood of one message: the first `threshold` occurrences of a
// format pass, later ones are held until `windowSeconds` have passed since the
// first held one, and are then reported as one line with their count.
class RepeatSuppressor {
public:
    RepeatSuppressor(Logger& category, std::int32_t threshold, std::int32_t windowSeconds);
    // Reports what is still held.
    ~RepeatSuppressor();
    RepeatSuppressor(const RepeatSuppressor&) = delete;
    RepeatSuppressor& operator=(const RepeatSuppressor&) = delete;

    // Replaces the clock that decides the window (tests); it must outlive
    // this object.
    void setClock(const IClock& clock);

    // message is format already formatted.
    void log(std::int32_t level, const char* format, const Str& message);
    // Reports every held message now.
    void flush();

private:
    // True if the entry has reported held messages and can go.
    bool decide(SuppressedMessage& entry, Timeval now, const Str* message);
    void emit(SuppressedMessage& entry, Str& text);

    Logger& category;
    std::mutex section;
    std::map<Str, SuppressedMessage> entries;
    std::int32_t threshold;
    std::int32_t windowSeconds;
    const IClock* clock;
};
