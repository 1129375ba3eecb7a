#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "foundation/Str.h"
#include "logging/DateFormat.h"

struct LogEvent;

// One piece of a compiled pattern.
struct LayoutAtom {
    std::uint32_t kind;
    // Literal text, or the DateFormat of a date atom.
    const void* text;
    std::uint32_t textLength;
    std::uint32_t minWidth = 0;
    std::uint32_t maxWidth = 0xFFFFFFFF;
    // 0 pads after the value (left-justified).
    std::uint8_t fillChar = ' ';
};

// Renders an event by a pattern of literal text and conversions:
//   %m message, %n line end, %c category, %p level, %t thread, %r and %R
//   milliseconds and seconds since logging started, %u processor clock,
//   %d{format} local time ("DATE", "ISO8601", "ABSOLUTE" or a strftime text
//   with %l for milliseconds), %% a percent sign;
// each with optional "-" (left-justify) or "0" (zero fill), a minimum width
// and "." with a maximum width, as in "%-8p" or "%.30c".
class PatternLayout {
public:
    enum Kind : std::uint32_t {
        MESSAGE = 0,
        LITERAL = 1,
        CATEGORY = 2,
        LEVEL = 3,
        THREAD = 4,
        MILLIS_SINCE_START = 5,
        SECONDS_SINCE_START = 6,
        CPU_CLOCK = 7,
        DATE = 8,
    };
    // Values longer than this are shown by their length only.
    static constexpr std::size_t MAX_VALUE_LENGTH = 16384;

    explicit PatternLayout(std::string_view pattern);
    PatternLayout(const PatternLayout&) = delete;
    PatternLayout& operator=(const PatternLayout&) = delete;

    void render(Str& out, const LogEvent& event, const Str& message) const;

    const Str& getPattern() const { return pattern; }
    const std::vector<LayoutAtom>& getAtoms() const { return atoms; }

    // The shared standard layouts.
    static PatternLayout& basicLayout();   // "%R %p %c %m%n"
    static PatternLayout& simpleLayout();  // "%-8p: %m%n"

    // Where %t gets the current thread's name; without one it shows the OS
    // thread id. The thread library registers its own.
    static void setThreadNameGetter(const char* (*getter)());

private:
    void compile();

    Str pattern;
    std::vector<LayoutAtom> atoms;
    std::vector<std::unique_ptr<DateFormat>> dateFormats;
};
