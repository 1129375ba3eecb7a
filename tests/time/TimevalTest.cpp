#include "time/Timeval.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "foundation/Str.h"
#include "time/TimeUnit.h"

namespace {

Timeval unixAt(int64_t seconds, uint64_t fractionTicks = 0)
{
    return Timeval::fromUnixTime(seconds).addTicks(fractionTicks);
}

} // namespace

TEST(TimevalDuration, acceptsNumbersWithUnitWords)
{
    struct Case {
        const char* text;
        uint64_t ms;
    } cases[] = {
        {"s", 1000},           {"10", 10000},          {"250ms", 250},        {"1500us", 1},
        {"2cs", 20},           {"3ds", 300},           {"5 Minutes", 300000}, {"2h", 7200000},
        {"2HRS", 7200000},     {"1d", 86400000},       {"3 weeks", 1814400000},
        {"1mon", 2592000000},  {"2 quarters", 15552000000}, {"1y", 31536000000},
        {"1 sec ", 1000},      {"7secs", 7000},        {"min", 60000},
    };
    for (const Case& c : cases) {
        uint64_t out = 0;
        EXPECT_TRUE(Timeval::parseDurationMs(c.text, out)) << c.text;
        EXPECT_EQ(out, c.ms) << c.text;
    }
}

TEST(TimevalDuration, refusesZeroNegativeUnknownAndOverflow)
{
    const char* bad[] = {"",      "0s",  "0",        "-5s",  "nan", "NaN", "5 parsecs", "1.5s", "+3s",
                         "18446744073709551616", "18446744073709551615y", "307445734561825861s"};
    for (const char* text : bad) {
        uint64_t out = 42;
        EXPECT_FALSE(Timeval::parseDurationMs(text, out)) << text;
    }
}

TEST(TimeUnits, pluralsOnlyWhereAmountsAreRead)
{
    int index = -1;
    EXPECT_TRUE(unitFromName("microsecond", index));
    EXPECT_EQ(index, UNIT_MICROSECOND);
    EXPECT_FALSE(unitFromName("Year", index));

    TimeWord word = TimeWord::YEAR;
    EXPECT_TRUE(timeWordFromText("", false, word));
    EXPECT_EQ(word, TimeWord::SECOND);
    EXPECT_TRUE(timeWordFromText("qtr", false, word));
    EXPECT_EQ(word, TimeWord::QUARTER);
    EXPECT_FALSE(timeWordFromText("qtrs", false, word));
    EXPECT_TRUE(timeWordFromText("qtrs", true, word));
    EXPECT_FALSE(timeWordFromText("ms", true, word));
}

TEST(TimevalArithmetic, saturatesAtBothEnds)
{
    Timeval t = MAX_TIME;
    EXPECT_EQ(t.addMilliseconds(1), MAX_TIME);
    EXPECT_EQ(Timeval(5000).subMilliseconds(1), MIN_TIME);
    EXPECT_EQ(Timeval(100).addSeconds(0xFFFFFFFFFFFFFFFFull), MAX_TIME); // the product wraps
    EXPECT_EQ(Timeval(UNIX_EPOCH_TICKS).subMicroseconds(0x2000000000000000ull), MIN_TIME);
    EXPECT_EQ(Timeval(10).addMicroseconds(2).subTicks(5).ticks, 25u);
}

TEST(TimevalArithmetic, differencesRoundAsDocumented)
{
    Timeval a(1000000000);
    EXPECT_EQ(Timeval(a.ticks + 1).millisecondsUntil(a), 1);
    EXPECT_EQ(Timeval(a.ticks + 10000).millisecondsUntil(a), 1);
    EXPECT_EQ(Timeval(a.ticks + 10001).millisecondsUntil(a), 2);
    EXPECT_EQ(a.millisecondsUntil(a), 0);
    EXPECT_EQ(Timeval(a.ticks - 25000000).secondsSince(a), -2);
    EXPECT_EQ(Timeval(a.ticks + 25).microsecondsSince(a), 2);
    EXPECT_DOUBLE_EQ(Timeval::secondsBetween(Timeval(a.ticks + 15000000), a), 1.5);
    EXPECT_DOUBLE_EQ(Timeval::secondsBetween(a, Timeval(a.ticks + 15000000)), -1.5);
}

TEST(TimevalArithmetic, truncatesAndReplacesFractions)
{
    Timeval t = unixAt(1000000007, 1234567);
    t.truncateToMilliseconds(10);
    EXPECT_EQ(t, unixAt(1000000007, 1200000));
    t.truncateToSeconds(5);
    EXPECT_EQ(t.toUnixTime() % 5, 0);
    EXPECT_EQ(t.nanoseconds(), 0u);

    Timeval u = unixAt(50, 9999999);
    u.setMilliseconds(250);
    EXPECT_EQ(u, unixAt(50, 2500000));
    u.setUnixSeconds(77);
    EXPECT_EQ(u, unixAt(77, 2500000));
    EXPECT_EQ(u.milliseconds(), 250u);
    EXPECT_EQ(u.microseconds(), 250000u);

    EXPECT_EQ(Timeval::fromSeconds(1.25).ticks, 12500000u);
    EXPECT_EQ(Timeval::fromSeconds(-3.0), MIN_TIME);
    EXPECT_EQ(Timeval::fromSeconds(1e30), MAX_TIME);
}

TEST(TimevalUnix, convertsAroundTheEpoch)
{
    EXPECT_EQ(Timeval::fromUnixTime(0).ticks, UNIX_EPOCH_TICKS);
    EXPECT_EQ(Timeval::fromUnixTime(1700000000).toUnixTime(), 1700000000);
    EXPECT_EQ(Timeval::fromUnixTime(-315619200).toUnixTime(), 0); // 1960
    EXPECT_EQ(Timeval::fromUnixTime(-315619200).unixSeconds(), -315619200);
    EXPECT_EQ(Timeval(UNIX_EPOCH_TICKS - 1).unixSeconds(), -1);
    EXPECT_EQ(Timeval::fromUnixTime(-11644473601), MIN_TIME);
    EXPECT_EQ(Timeval::fromUnixTime(0x7FFFFFFFFFFFFFFF), MAX_TIME);
    EXPECT_TRUE(Timeval(UNIX_EPOCH_TICKS).isBeforeUnixEpoch());
    EXPECT_FALSE(Timeval(UNIX_EPOCH_TICKS + 1).isBeforeUnixEpoch());
    EXPECT_EQ(Timeval::fromUnixTimeNanos(10, 123456789), unixAt(10, 1234567));
}

TEST(TimevalUnix, readsUnixText)
{
    Timeval t;
    ASSERT_TRUE(t.fromUnixString("12.5"));
    EXPECT_EQ(t, unixAt(12, 5000000));
    ASSERT_TRUE(t.fromUnixString("12."));
    EXPECT_EQ(t, unixAt(12));
    ASSERT_TRUE(t.fromUnixString("3.123456789"));
    EXPECT_EQ(t, unixAt(3, 1234567));

    Timeval keep = unixAt(99);
    for (const char* bad : {"1 2", "", "-1", "+1", ".5", "1.2.3", "1.12345678x", "99999999999999999999"}) {
        t = keep;
        EXPECT_FALSE(t.fromUnixString(bad)) << bad;
        EXPECT_EQ(t, keep) << bad;
    }
}

TEST(TimevalUnix, writesUnixText)
{
    std::string out;
    unixAt(1700000000, 1234567).toUnixString(out, 0);
    EXPECT_EQ(out, "1700000000");
    out.clear();
    unixAt(1700000000, 1234567).toUnixString(out, 3);
    EXPECT_EQ(out, "1700000000.123");
    out = "t=";
    unixAt(5, 1234567).toUnixString(out, 9);
    EXPECT_EQ(out, "t=5.123456700");

    out.clear();
    Timeval::formatMilliseconds(out, 12345);
    EXPECT_EQ(out, "12.345");
    out.clear();
    Timeval::formatMilliseconds(out, 7000);
    EXPECT_EQ(out, "7");
    out.clear();
    Timeval::formatMilliseconds(out, 1005);
    EXPECT_EQ(out, "1.005");
}

TEST(TimevalSortable, roundTripsAndSortsAsTheTimes)
{
    std::vector<Timeval> times = {unixAt(0),          unixAt(1, 1),          unixAt(1700000000, 9999999),
                                  unixAt(1700000000), unixAt(32535215999),   unixAt(-300000000, 5),
                                  Timeval(0x100000000ull), MAX_TIME,         MIN_TIME};
    std::vector<std::pair<Str, Timeval>> pairs;
    for (Timeval t : times) {
        Str text = t.toSortableString();
        ASSERT_EQ(text.size(), 14u);
        Timeval back(12345);
        ASSERT_TRUE(back.fromSortableString(text)) << text;
        EXPECT_EQ(back, t) << text;
        pairs.emplace_back(text, t);
    }
    std::sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    // "z" sorts after every digit, so the two special forms come last.
    for (size_t i = 1; i + 2 < pairs.size(); ++i)
        EXPECT_LT(pairs[i - 1].second, pairs[i].second);
}

TEST(TimevalSortable, specialFormsAndBadText)
{
    EXPECT_EQ(MIN_TIME.toSortableString(), "zNULLzTIMEzzzz");
    EXPECT_EQ(Timeval(0xFFFFFFFFull).toSortableString(), "zNULLzTIMEzzzz");
    EXPECT_EQ(MAX_TIME.toSortableString(), "zMAXzTIMEzzzzz");
    EXPECT_EQ(Timeval(MAX_TIME.ticks - 1).toSortableString(), "VVVVVVVVTPLIFV"); // clamped to 40 bits

    Timeval t(7);
    EXPECT_TRUE(t.fromSortableString("zminztimezzzzz"));
    EXPECT_EQ(t, MIN_TIME);
    EXPECT_TRUE(t.fromSortableString("ZMAXZTIMEZZZZZ"));
    EXPECT_EQ(t, MAX_TIME);
    Timeval upper, lower;
    ASSERT_TRUE(upper.fromSortableString("1JHG6QG0000ABC"));
    ASSERT_TRUE(lower.fromSortableString("1jhg6qg0000abc"));
    EXPECT_EQ(upper, lower);

    for (const char* bad : {"zNULL", "zFOOzTIMEzzzzz", "1JHG6QG0000AB", "1JHG6QG0000ABCD", "1JHG6QG0000AB!",
                            "1JHG6QGW000ABC", "00000000VVVVVV"}) {
        EXPECT_FALSE(t.fromSortableString(bad)) << bad;
    }
}

TEST(TimevalText, toStringNamesTheLimitsAndRefusedTimes)
{
    EXPECT_EQ(MAX_TIME.toString(), "MAX_TIME");
    EXPECT_EQ(MIN_TIME.toString(), "MIN_TIME");
    EXPECT_EQ(Timeval::fromUnixTime(0x793407000ll).toString(), "INVALID_TIME (32535244800)");
    EXPECT_EQ(Timeval::fromUnixTime(-86400).toString(), "INVALID_TIME (-86400)");

    Str text = Timeval::fromUnixTime(1700000000).toString();
    ASSERT_EQ(text.size(), 24u) << text;
    EXPECT_NE(text.find(":"), std::string::npos);
    EXPECT_EQ(text.substr(20), "2023");
}
