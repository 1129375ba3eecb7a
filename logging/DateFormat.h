#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

#include "foundation/Str.h"

// A strftime-style time format for log layouts, printed in the "C" locale by
// our own code (the run times disagree on the conversions they know, and some
// end the process on an unknown one). "%l" adds the milliseconds in three
// digits. Conversions may carry a flag ("_", "-", "0", "^", "#"), a width and
// an "E" or "O" modifier, which is accepted and ignored.
class DateFormat {
public:
    // False, leaving the format as it was, if text isn't a time format.
    bool compile(std::string_view text);
    const Str& text() const { return format; }

    // tm is the broken-down local time of unixSeconds.
    void print(Str& out, const std::tm& tm, std::int64_t unixSeconds, std::uint32_t milliseconds) const;

private:
    Str format;
};
