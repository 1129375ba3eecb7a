#include "time/TimeUnit.h"

namespace {

const char* const UNIT_NAMES[UNIT_COUNT] = {
    "year", "month", "day", "hour", "minute", "second", "decisecond", "centisecond", "millisecond", "microsecond",
};

struct WordEntry {
    std::string_view word;
    TimeWord unit;
    bool plural;
};

const WordEntry WORDS[] = {
    {"", TimeWord::SECOND, false},      {"s", TimeWord::SECOND, false},       {"sec", TimeWord::SECOND, false},
    {"second", TimeWord::SECOND, false}, {"secs", TimeWord::SECOND, true},     {"seconds", TimeWord::SECOND, true},
    {"m", TimeWord::MINUTE, false},     {"min", TimeWord::MINUTE, false},     {"minute", TimeWord::MINUTE, false},
    {"mins", TimeWord::MINUTE, true},   {"minutes", TimeWord::MINUTE, true},  {"h", TimeWord::HOUR, false},
    {"hr", TimeWord::HOUR, false},      {"hour", TimeWord::HOUR, false},      {"hrs", TimeWord::HOUR, true},
    {"hours", TimeWord::HOUR, true},    {"d", TimeWord::DAY, false},          {"day", TimeWord::DAY, false},
    {"days", TimeWord::DAY, true},      {"w", TimeWord::WEEK, false},         {"week", TimeWord::WEEK, false},
    {"weeks", TimeWord::WEEK, true},    {"mon", TimeWord::MONTH, false},      {"month", TimeWord::MONTH, false},
    {"months", TimeWord::MONTH, true},  {"q", TimeWord::QUARTER, false},      {"qtr", TimeWord::QUARTER, false},
    {"quarter", TimeWord::QUARTER, false}, {"qtrs", TimeWord::QUARTER, true}, {"quarters", TimeWord::QUARTER, true},
    {"y", TimeWord::YEAR, false},       {"yr", TimeWord::YEAR, false},        {"year", TimeWord::YEAR, false},
    {"yrs", TimeWord::YEAR, true},      {"years", TimeWord::YEAR, true},
};

} // namespace

bool unitFromName(std::string_view text, int& out)
{
    for (int i = 0; i < UNIT_COUNT; ++i) {
        if (text == UNIT_NAMES[i]) {
            out = i;
            return true;
        }
    }
    return false;
}

bool timeWordFromText(std::string_view word, bool allowPlural, TimeWord& out)
{
    for (const WordEntry& e : WORDS) {
        if (e.word == word && (allowPlural || !e.plural)) {
            out = e.unit;
            return true;
        }
    }
    return false;
}
