#include "time/StructTm.h"

#include <gtest/gtest.h>

#include "logging/LogCapture.h"

namespace {

constexpr int64_t YEAR_3001 = 0x793407000ll; // 3001-01-01 08:00 UTC, the first refused second

void expectDate(const std::tm& tm, int year, int month, int day, int hour, int minute, int second)
{
    EXPECT_EQ(tm.tm_year + 1900, year);
    EXPECT_EQ(tm.tm_mon + 1, month);
    EXPECT_EQ(tm.tm_mday, day);
    EXPECT_EQ(tm.tm_hour, hour);
    EXPECT_EQ(tm.tm_min, minute);
    EXPECT_EQ(tm.tm_sec, second);
}

void expectEarlySubstitute(const std::tm& tm)
{
    expectDate(tm, 1900, 1, 1, 0, 0, 0);
    EXPECT_EQ(tm.tm_wday, 1);
    EXPECT_EQ(tm.tm_yday, 0);
    EXPECT_EQ(tm.tm_isdst, -1);
}

void expectLateSubstitute(const std::tm& tm)
{
    expectDate(tm, 9999, 12, 31, 23, 59, 59);
    EXPECT_EQ(tm.tm_wday, 5);
    EXPECT_EQ(tm.tm_yday, 364);
    EXPECT_EQ(tm.tm_isdst, -1);
}

} // namespace

TEST(GmtStructTm, breaksDownAndReassembles)
{
    GmtStructTm leap(Timeval::fromUnixTime(951827696)); // 2000-02-29 12:34:56 UTC
    expectDate(leap, 2000, 2, 29, 12, 34, 56);
    EXPECT_EQ(leap.tm_wday, 2);
    EXPECT_EQ(leap.tm_yday, 59);

    for (int64_t s : {int64_t(0), int64_t(951827696), int64_t(1700000000), int64_t(4102444800), int64_t(32503679999)}) {
        GmtStructTm tm(Timeval::fromUnixTime(s));
        EXPECT_EQ(tm.toTimeval(), Timeval::fromUnixTime(s)) << s;
    }
}

TEST(GmtStructTm, normalisesFieldsAndReachesBefore1970)
{
    GmtStructTm tm;
    tm.tm_year = 99;
    tm.tm_mon = 13; // February 2000
    tm.tm_mday = 30; // one past its end
    tm.tm_hour = 25;
    EXPECT_EQ(tm.toTimeval(), Timeval::fromUnixTime(951958800)); // 2000-03-02 01:00

    tm = GmtStructTm();
    tm.tm_year = 60;
    tm.tm_mon = -1; // December 1959
    tm.tm_mday = 31;
    EXPECT_EQ(tm.toTimeval(), Timeval::fromUnixTime(-315705600));
}

TEST(StructTmFailure, substitutesValidTimes)
{
    GmtStructTm early(Timeval::fromUnixTime(-1));
    expectEarlySubstitute(early);
    GmtStructTm late(Timeval::fromUnixTime(YEAR_3001));
    expectLateSubstitute(late);

    LocalStructTm localEarly(Timeval::fromUnixTime(-100000));
    expectEarlySubstitute(localEarly);
    {
        LogCapture capture;
        LocalStructTm localLate(Timeval::fromUnixTime(YEAR_3001));
        expectLateSubstitute(localLate);
        ASSERT_EQ(capture.count(), 1u);
        EXPECT_EQ(capture.entries()[0].level, LOG_LEVEL_WARN);
        EXPECT_EQ(capture.entries()[0].category, "Timeval");
        EXPECT_EQ(capture.entries()[0].message, "LocalStructTm::fromUnixTime(32535244800) failed!");
    }

    LocalStructTmHires hiresEarly(Timeval::fromUnixTime(-100000).addTicks(77));
    expectEarlySubstitute(hiresEarly);
    EXPECT_EQ(hiresEarly.fraction, 0u);
    LocalStructTmHires hiresLate(MAX_TIME);
    expectLateSubstitute(hiresLate);
    EXPECT_EQ(hiresLate.fraction, 9999999u);
}

TEST(StructTmFailure, refusedYearsGiveTheLimitOnTheirSide)
{
    GmtStructTm gmt;
    gmt.tm_year = 1100;
    gmt.tm_mon = 4;
    gmt.tm_mday = 9;
    gmt.tm_min = 5;
    {
        LogCapture capture;
        EXPECT_EQ(gmt.toTimeval(), MAX_TIME);
        EXPECT_TRUE(capture.contains("GmtStructTm::toUnixTime(3000-5-9 0:05:00) failed!"));
    }
    gmt.tm_year = -1;
    EXPECT_EQ(gmt.toTimeval(), MIN_TIME);

    LocalStructTm local;
    local.tm_mday = 1;
    local.tm_year = 1100;
    EXPECT_EQ(local.toTimeval(), MAX_TIME);
    local.tm_year = 60; // before 1970 the run time refuses
    EXPECT_EQ(local.toTimeval(), MIN_TIME);

    LocalStructTmHires hires;
    hires.tm_mday = 1;
    hires.tm_year = 2000;
    EXPECT_EQ(hires.toTimeval(), MAX_TIME);
}

TEST(LocalStructTm, roundTripsThroughLocalTime)
{
    Timeval t = Timeval::fromUnixTime(1700000000).addTicks(1234567);
    LocalStructTmHires hires(t);
    EXPECT_EQ(hires.fraction, 1234567u);
    EXPECT_EQ(hires.toTimeval(), t);

    LocalStructTm plain(t);
    EXPECT_EQ(plain.toTimeval(), Timeval::fromUnixTime(1700000000));
    EXPECT_EQ(plain.tm_min, hires.tm_min);
    EXPECT_EQ(plain.tm_sec, 20);
}
