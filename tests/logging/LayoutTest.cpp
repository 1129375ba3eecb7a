#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "logging/Appender.h"
#include "logging/DateFormat.h"
#include "logging/FileAppender.h"
#include "logging/LogRegistry.h"
#include "logging/Logger.h"
#include "logging/PatternLayout.h"

namespace fs = std::filesystem;

namespace {

Logger layoutLogger("LayoutTest", false, 60, 100);

Str render(const char* pattern, const Str& message, std::int32_t level = LOG_LEVEL_WARN,
           Timeval time = Timeval::now())
{
    PatternLayout layout(pattern);
    LogEvent event{time, &layoutLogger, level};
    Str out;
    layout.render(out, event, message);
    return out;
}

TEST(PatternLayout, WidthsFlagsAndLiterals)
{
    EXPECT_EQ(render("%-8p|", "m"), "WARN    |");
    EXPECT_EQ(render("%08p|", "m"), "0000WARN|");
    EXPECT_EQ(render("%8p|", "m"), "    WARN|");
    EXPECT_EQ(render("%.3m|%-6.2c|", "message"), "mes|La    |");
    EXPECT_EQ(render("%c %p %m%n", "hi", LOG_LEVEL_ERROR), "LayoutTest ERROR hi\r\n");
    EXPECT_EQ(render("100%% sure%%", "m"), "100% sure%");
    EXPECT_EQ(render("%%m", "m"), "%m");
    EXPECT_EQ(render("%p", "m", 42), "???");
}

TEST(PatternLayout, OddPatternsCompileToWhatWasBuilt)
{
    // Unknown conversions drop their atom; a pattern cut short ends the compile.
    EXPECT_EQ(render("a%qb", "m"), "ab");
    EXPECT_EQ(render("a%m%-5", "m"), "am");
    EXPECT_EQ(render("a%m%d{unclosed", "m"), "am");
    EXPECT_EQ(render("", "m"), "");
    PatternLayout layout("x%-3.4my");
    ASSERT_EQ(layout.getAtoms().size(), 3u);
    EXPECT_EQ(layout.getAtoms()[1].fillChar, 0);
    EXPECT_EQ(layout.getAtoms()[1].minWidth, 3u);
    EXPECT_EQ(layout.getAtoms()[1].maxWidth, 4u);
}

TEST(PatternLayout, RunawayValueGuard)
{
    Str exact(16384, 'a');
    EXPECT_EQ(render("%m", exact), exact);
    EXPECT_EQ(render("%m", Str(16385, 'a')), "{16385 byte str!}");
    EXPECT_EQ(render("%.6m", Str(20000, 'a')), "{20000");
}

TEST(PatternLayout, TimesSinceStartAndDates)
{
    Timeval start = logStartTime();
    Timeval t = start;
    t.addMilliseconds(2500);
    EXPECT_EQ(render("%r %R", "m", LOG_LEVEL_INFO, t), "2500 2");

    Str iso = render("%d", "m");
    ASSERT_EQ(iso.size(), 23u) << iso;
    EXPECT_EQ(iso[4], '-');
    EXPECT_EQ(iso[19], ',');
    // A format that doesn't compile falls back to the ISO form, silently.
    EXPECT_EQ(render("%d{%Q}", "m").size(), 23u);
    EXPECT_EQ(render("%d{ABSOLUTE}", "m").size(), 12u);
    EXPECT_EQ(render("%d{DATE}", "m").size(), 24u);
    Str year = render("%d{%Y}", "m");
    EXPECT_EQ(year.size(), 4u);
}

TEST(PatternLayout, ThreadNameFromTheRegisteredGetter)
{
    PatternLayout::setThreadNameGetter([]() -> const char* { return "Worker 7"; });
    EXPECT_EQ(render("[%-10t]", "m"), "[Worker 7  ]");
    PatternLayout::setThreadNameGetter(nullptr);
    Str id = render("%t", "m");
    EXPECT_FALSE(id.empty());
    EXPECT_EQ(id.find_first_not_of("0123456789"), std::string::npos) << id;
}

TEST(DateFormat, Conversions)
{
    std::tm tm{};
    tm.tm_year = 2024 - 1900;
    tm.tm_mon = 2;
    tm.tm_mday = 5;
    tm.tm_hour = 7;
    tm.tm_min = 8;
    tm.tm_sec = 9;
    tm.tm_wday = 2;
    tm.tm_yday = 64;
    auto print = [&](const char* f) {
        DateFormat format;
        EXPECT_TRUE(format.compile(f)) << f;
        Str out;
        format.print(out, tm, 0, 42);
        return out;
    };
    EXPECT_EQ(print("%Y-%m-%d %H:%M:%S,%l"), "2024-03-05 07:08:09,042");
    EXPECT_EQ(print("%d %b %Y|%e|%-d|%_H|%^a|%A %B"), "05 Mar 2024| 5|5| 7|TUE|Tuesday March");
    EXPECT_EQ(print("%j %u %w %V %G %y %C %I%p %T %F %%"), "065 2 2 10 2024 24 20 07AM 07:08:09 2024-03-05 %");

    DateFormat bad;
    EXPECT_FALSE(bad.compile("%Q"));
    EXPECT_FALSE(bad.compile("trailing %"));
    EXPECT_FALSE(bad.compile("%-"));
    EXPECT_TRUE(bad.compile("%Ey %Od %10Y"));
}

class RollingTest : public testing::Test {
protected:
    RollingTest()
    {
        auto* unit = ::testing::UnitTest::GetInstance();
        dir = fs::temp_directory_path()
            / ("tolvik-rolling-" + std::to_string(unit->random_seed()) + "-" + unit->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
        base = dir / "log";
    }
    ~RollingTest() override
    {
        a.reset();
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }

    fs::path name(int i) const { return i == 0 ? base : fs::path(base.string() + "." + std::to_string(i)); }
    void write(int i, const std::string& text) const { std::ofstream(name(i), std::ios::binary) << text; }
    std::string read(int i) const
    {
        std::ifstream in(name(i), std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    FileAppender& appender(const char* maxSize, const char* maxBackup)
    {
        a = std::make_unique<FileAppender>();
        EXPECT_TRUE(a->set("fileName", Str::fromWide(base.wstring())));
        EXPECT_TRUE(a->set("maxFileSize", maxSize));
        EXPECT_TRUE(a->set("maxBackupIndex", maxBackup));
        EXPECT_TRUE(a->set("layout.ConversionPattern", "%m%n"));
        return *a;
    }

    fs::path dir;
    fs::path base;
    std::unique_ptr<FileAppender> a;
};

TEST_F(RollingTest, ShiftStartsAtTheFirstGap)
{
    write(0, "zero");
    write(1, "one");
    write(3, "three");
    appender("100", "5").roll();
    EXPECT_EQ(read(1), "zero");
    EXPECT_EQ(read(2), "one");
    EXPECT_EQ(read(3), "three");
    EXPECT_FALSE(fs::exists(name(4)));
    EXPECT_TRUE(fs::exists(name(0)));
    EXPECT_EQ(fs::file_size(name(0)), 0u);
}

TEST_F(RollingTest, LastBackupIsDeletedWhenFull)
{
    for (int i = 0; i <= 5; ++i)
        write(i, "v" + std::to_string(i));
    appender("100", "5").roll();
    for (int i = 1; i <= 5; ++i)
        EXPECT_EQ(read(i), "v" + std::to_string(i - 1));
    EXPECT_FALSE(fs::exists(name(6)));
}

TEST_F(RollingTest, NoBackupsRestartsTheFile)
{
    write(0, "old");
    appender("100", "0").roll();
    EXPECT_FALSE(fs::exists(name(1)));
    EXPECT_EQ(read(0), "");
}

TEST_F(RollingTest, SizeIsCheckedAfterTheWrite)
{
    FileAppender& f = appender("10", "2");
    LogEvent event{Timeval::now(), &layoutLogger, LOG_LEVEL_INFO};
    EXPECT_TRUE(f.append(event, "12345"));
    EXPECT_EQ(read(0), "12345\r\n");
    EXPECT_TRUE(f.append(event, "6789"));
    // 13 bytes passed the limit: the file went whole to the first backup.
    EXPECT_EQ(read(1), "12345\r\n6789\r\n");
    EXPECT_EQ(read(0), "");
    EXPECT_TRUE(f.append(event, "x"));
    EXPECT_EQ(read(0), "x\r\n");
}

TEST(FileAppenderSet, NumbersAndLayouts)
{
    FileAppender a;
    EXPECT_TRUE(a.set("maxFileSize", "0"));
    EXPECT_TRUE(a.set("maxFileSize", "9223372036854775807"));
    EXPECT_EQ(a.getMaxFileSize(), INT64_MAX);
    EXPECT_FALSE(a.set("maxFileSize", "9223372036854775808"));
    EXPECT_FALSE(a.set("maxFileSize", "012"));
    EXPECT_FALSE(a.set("maxFileSize", "10x"));
    EXPECT_FALSE(a.set("maxFileSize", ""));
    EXPECT_TRUE(a.set("maxBackupIndex", "7 trailing"));
    EXPECT_EQ(a.getMaxBackupIndex(), 7u);
    EXPECT_FALSE(a.set("maxBackupIndex", "4294967296"));
    EXPECT_TRUE(a.set("layout", "SimpleLayout"));
    EXPECT_EQ(a.getLayout(), &PatternLayout::simpleLayout());
    EXPECT_TRUE(a.set("layout", "PatternLayout"));
    EXPECT_EQ(a.getLayout(), &PatternLayout::simpleLayout());
    EXPECT_FALSE(a.set("layout", "FancyLayout"));
    EXPECT_FALSE(a.set("threshold", "1"));
}

}  // namespace
