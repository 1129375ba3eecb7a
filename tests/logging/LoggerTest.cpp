#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>

#include "logging/LogCapture.h"
#include "logging/LogRegistry.h"
#include "logging/LogStream.h"
#include "logging/Logger.h"
#include "logging/RepeatSuppressor.h"
#include "platform/OsError.h"
#include "time/Clock.h"

namespace {

Logger testLogger("LoggerTest", false, 60, 100);

// An OS error code with a system text on every platform.
constexpr std::uint32_t someError = 2;

TEST(LoggerLevels, NamesAndParsing)
{
    EXPECT_STREQ(logLevelName(LOG_LEVEL_DEBUG), "DEBUG");
    EXPECT_STREQ(logLevelName(LOG_LEVEL_EMERG), "EMERG");
    EXPECT_STREQ(logLevelName(9), "???");
    EXPECT_STREQ(logLevelName(-1), "???");
    std::int32_t level = -1;
    EXPECT_TRUE(parseLogLevel("NOTICE", 6, level));
    EXPECT_EQ(level, LOG_LEVEL_NOTICE);
    EXPECT_FALSE(parseLogLevel("notice", 6, level));
    EXPECT_FALSE(parseLogLevel("WARNING", 7, level));
    EXPECT_FALSE(parseLogLevel("WAR", 3, level));
}

TEST(LoggerCalls, LevelFilteringAndCallForms)
{
    LogCapture capture(LOG_LEVEL_INFO);
    logDebug(testLogger, "hidden %d", 1);
    logInfo(testLogger, "shown %d", 2);
    log(testLogger, LOG_LEVEL_NOTICE, nullptr, "notice %s", "x");
    logWarn(testLogger, Str("as is %d"));
    logError(testLogger, std::runtime_error("bad %s thing"));
    debugStream(testLogger) << "hidden too";
    infoStream(testLogger) << "n=" << 5 << ' ' << Str("s") << ' ' << std::wstring(L"w");

    auto e = capture.entries();
    ASSERT_EQ(e.size(), 5u);
    EXPECT_EQ(e[0].message, "shown 2");
    EXPECT_EQ(e[0].level, LOG_LEVEL_INFO);
    EXPECT_EQ(e[0].category, "LoggerTest");
    EXPECT_EQ(e[1].message, "notice x");
    EXPECT_EQ(e[1].level, LOG_LEVEL_NOTICE);
    EXPECT_EQ(e[2].message, "as is %d");
    EXPECT_EQ(e[3].message, "bad %s thing");
    EXPECT_EQ(e[4].message, "n=5 s w");
}

class Brackets : public LogFormatCallback {
public:
    void before(Str& out) override { out.append("["); }
    void after(Str& out) override { out.append("]"); }
};

TEST(LoggerFormat, ErrorConversionAndCallback)
{
    LogCapture capture;
    Str text = errorString(someError);
    ASSERT_FALSE(text.empty());

    platform::setLastOsError(someError);
    logInfo(testLogger, "open failed: %m (%d)", 7);
    EXPECT_EQ(platform::lastOsError(), someError);
    logInfo(testLogger, "literal %%m and %%%m");
    EXPECT_EQ(platform::lastOsError(), someError);
    Brackets brackets;
    logInfo(testLogger, brackets, "%s", "mid");

    auto e = capture.entries();
    ASSERT_EQ(e.size(), 3u);
    EXPECT_EQ(e[0].message, "open failed: " + text + " (7)");
    EXPECT_EQ(e[1].message, "literal %m and %" + text);
    EXPECT_EQ(e[2].message, "[mid]");
}

TEST(LoggerFormat, LastErrorKeptWhenDroppedOrFormattedLong)
{
    LogCapture capture(LOG_LEVEL_WARN);
    platform::setLastOsError(someError);
    logInfo(testLogger, "dropped %m");
    EXPECT_EQ(platform::lastOsError(), someError);
    EXPECT_EQ(capture.count(), 0u);

    // Longer than the formatting's stack buffer.
    std::string big(5000, 'x');
    logWarn(testLogger, "%s|%m", big.c_str());
    EXPECT_EQ(platform::lastOsError(), someError);
    ASSERT_EQ(capture.count(), 1u);
    EXPECT_EQ(capture.entries()[0].message, big + "|" + errorString(someError));
}

TEST(LoggerFormat, ErrorStringFallbacks)
{
    std::string system;
    // Codes the system knows keep the system's text; the tables only fill in.
    if (!platform::osErrorText(0x80005000u, system)) {
        EXPECT_EQ(errorString(0x80005000u), "An invalid ADSI path name was passed.");
    }
    if (!platform::osErrorText(0x80041001u, system)) {
        EXPECT_EQ(errorString(0x80041001u), "Call failed.");
    }
    if (!platform::osErrorText(0x8004108Au, system)) {
        EXPECT_NE(errorString(0x8004108Au).find("COM server"), std::string::npos);
    }
    if (!platform::osErrorText(0x8004104Au, system)) {
        EXPECT_EQ(errorString(0x8004104Au), "FormatMessage was unable to decode error (2147749962), (0x8004104a)");
    }
    if (!platform::osErrorText(0x80005015u, system)) {
        EXPECT_EQ(errorString(0x80005015u), "FormatMessage was unable to decode error (2147504149), (0x80005015)");
    }
}

// What a category looks like to a static initialiser of another module that
// runs before the category's own constructor: all zero.
alignas(Logger) unsigned char unconstructed[sizeof(Logger)];

TEST(LoggerFallback, ErrorStreamLineFormat)
{
    Logger& early = *std::launder(reinterpret_cast<Logger*>(unconstructed));
    LogCapture capture;
    ASSERT_FALSE(isLoggingConfigured()) << "this test runs before any log configuration";
    testing::internal::CaptureStderr();
    logDebug(early, "early %d", 1);
    // An appender that refuses sends the line to the error stream too.
    capture.setAccepting(false);
    logWarn(testLogger, "refused");
    std::string err = testing::internal::GetCapturedStderr();
    // The capture reads back in text mode on Windows, which eats the CRs.
    std::erase(err, '\r');
    EXPECT_EQ(err, "DEBUG - early 1\nWARN - refused\n");
    EXPECT_EQ(capture.count(), 0u);
}

TEST(LoggerSetLevel, ByNameSticksOverGeneral)
{
    Logger a("SetLevelA", false, 60, 100);
    Logger b("SetLevelB", false, 60, 100);
    LogCapture capture;
    ASSERT_TRUE(setLevel("SetLevelA", "ERROR"));
    ASSERT_TRUE(setLevel(nullptr, "DEBUG"));
    EXPECT_FALSE(setLevel(nullptr, "LOUD"));
    LoggerConfig& configA = loggerConfigFor("SetLevelA", 9);
    LoggerConfig& configB = loggerConfigFor("SetLevelB", 9);
    EXPECT_EQ(configA.level.load(), LOG_LEVEL_ERROR);
    EXPECT_EQ(configB.level.load(), LOG_LEVEL_DEBUG);
    std::map<Str, Str> levels;
    listLevels(levels);
    EXPECT_EQ(levels["SetLevelA"], "ERROR");
}

#if defined(__SANITIZE_ADDRESS__)
#define TOLVIK_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLVIK_ASAN 1
#endif
#endif

#ifndef TOLVIK_ASAN
// The address sanitizer reports the wild read itself, before any fault.
TEST(LoggerFault, BadArgumentDoesNotEndTheProcess)
{
    LogCapture capture;
    const char* wild = reinterpret_cast<const char*>(static_cast<std::uintptr_t>(16));
    platform::setLastOsError(someError);
    logInfo(testLogger, "bad %s", wild);
    EXPECT_EQ(platform::lastOsError(), someError);
    logInfo(testLogger, "after");
    auto e = capture.entries();
    ASSERT_EQ(e.size(), 2u);
    EXPECT_EQ(e[0].message, "caught SEH exception while trying to log!");
    EXPECT_EQ(e[0].level, LOG_LEVEL_FATAL);
    EXPECT_EQ(e[1].message, "after");
}
#endif

class SuppressorTest : public testing::Test {
protected:
    SuppressorTest() : category("SuppressorTest", true, 60, 3) { category.suppressor->setClock(clock); }

    void fire(const char* text) { logInfo(category, "repeated %s", text); }

    ManualClock clock;
    LogCapture capture;
    Logger category;
};

TEST_F(SuppressorTest, ThresholdPassesThenHoldsUntilWindow)
{
    for (int i = 0; i < 3; ++i)
        fire("a");
    EXPECT_EQ(capture.count(), 3u);
    fire("b");
    fire("c");
    EXPECT_EQ(capture.count(), 3u) << "held above the threshold";
    clock.advanceMilliseconds(60 * 1000);
    fire("d");
    EXPECT_EQ(capture.count(), 3u) << "60 whole seconds is still inside the window";
    clock.advanceMilliseconds(1000);
    fire("e");
    auto e = capture.entries();
    ASSERT_EQ(e.size(), 4u);
    EXPECT_EQ(e[3].message.rfind("repeated e\r\n\t\t\t\t4 similar messages suppressed.  First occurred at: ", 0), 0u)
        << e[3].message;
    // Reported and forgotten: the format starts afresh.
    fire("f");
    EXPECT_EQ(capture.count(), 5u);
}

TEST_F(SuppressorTest, OtherFormatReportsExpiredEntries)
{
    for (int i = 0; i < 5; ++i)
        fire("x");
    EXPECT_EQ(capture.count(), 3u);
    clock.advanceMilliseconds(61 * 1000);
    logInfo(category, "unrelated");
    auto e = capture.entries();
    ASSERT_EQ(e.size(), 5u);
    EXPECT_EQ(e[3].message.rfind("repeated x\r\n\t\t\t\t2 similar messages suppressed.", 0), 0u) << e[3].message;
    EXPECT_EQ(e[4].message, "unrelated");
}

TEST_F(SuppressorTest, DestructionReportsWhatIsHeld)
{
    for (int i = 0; i < 4; ++i)
        fire("y");
    logInfo(category, "under threshold");
    EXPECT_EQ(capture.count(), 4u);
    category.suppressor->flush();
    auto e = capture.entries();
    ASSERT_EQ(e.size(), 5u) << "only held messages are told again";
    EXPECT_NE(e[4].message.find("1 similar messages suppressed."), std::string::npos);
}

}  // namespace
