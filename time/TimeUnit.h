#pragma once

#include <string_view>

// Calendar and clock units by name, in this index order.
enum TimeUnitIndex : int {
    UNIT_YEAR,
    UNIT_MONTH,
    UNIT_DAY,
    UNIT_HOUR,
    UNIT_MINUTE,
    UNIT_SECOND,
    UNIT_DECISECOND,
    UNIT_CENTISECOND,
    UNIT_MILLISECOND,
    UNIT_MICROSECOND,
    UNIT_COUNT
};

// "year" ... "microsecond"; false if the text names none of them.
bool unitFromName(std::string_view text, int& out);

// Units that people write in amounts and snaps.
enum class TimeWord { SECOND, MINUTE, HOUR, DAY, WEEK, MONTH, QUARTER, YEAR };

// A lower-case unit word such as "s", "min" or "qtr"; plural forms ("mins",
// "hours") only when allowPlural. The empty word is seconds.
bool timeWordFromText(std::string_view word, bool allowPlural, TimeWord& out);
