#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "logging/FileAppender.h"
#include "logging/LogCapture.h"
#include "logging/Logger.h"
#include "logging/PatternLayout.h"

namespace fs = std::filesystem;

namespace {

Logger appenderLogger("AppenderTest", false, 60, 100);

class AppenderTest : public testing::Test {
protected:
    AppenderTest()
    {
        dir = fs::temp_directory_path()
            / ("tolvik-appender-" + std::to_string(testing::UnitTest::GetInstance()->random_seed()) + "-"
               + testing::UnitTest::GetInstance()->current_test_info()->name());
        std::error_code ignored;
        fs::remove_all(dir, ignored);
        fs::create_directories(dir);
    }
    ~AppenderTest() override
    {
        appender.reset();
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }

    std::string read(const fs::path& p) const
    {
        std::ifstream in(p, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    FileAppender& make(const fs::path& file)
    {
        appender = std::make_unique<FileAppender>();
        EXPECT_TRUE(appender->set("fileName", Str::fromWide(file.wstring())));
        EXPECT_TRUE(appender->set("layout.ConversionPattern", "%p %m%n"));
        return *appender;
    }

    LogEvent event{Timeval::now(), &appenderLogger, LOG_LEVEL_INFO};
    fs::path dir;
    std::unique_ptr<FileAppender> appender;
};

TEST_F(AppenderTest, OpenFailureIsReportedAndRetried)
{
    LogCapture capture;
    fs::path file = dir / "later" / "x.log";
    FileAppender& a = make(file);
    EXPECT_FALSE(a.append(event, "lost"));
    auto e = capture.entries();
    ASSERT_EQ(e.size(), 1u);
    EXPECT_EQ(e[0].level, LOG_LEVEL_ERROR);
    EXPECT_EQ(e[0].category, "Logger");
    EXPECT_EQ(e[0].message.rfind("Error opening \"" + Str::fromWide(file.wstring()) + "\": ", 0), 0u)
        << e[0].message;

    fs::create_directories(dir / "later");
    EXPECT_TRUE(a.append(event, "kept"));
    EXPECT_EQ(read(file), "INFO kept\r\n");
    EXPECT_EQ(capture.count(), 1u);
}

TEST_F(AppenderTest, FinishSettlesMissingFileNames)
{
    LogCapture capture;
    FileAppender quiet;
    EXPECT_TRUE(quiet.set("maxBackupIndex", "2"));
    quiet.finish("quiet", false, &PatternLayout::basicLayout());
    EXPECT_TRUE(quiet.isDisabled());
    EXPECT_FALSE(quiet.append(event, "x"));
    EXPECT_EQ(capture.count(), 0u);

    FileAppender toStderr;
    EXPECT_TRUE(toStderr.set("maxBackupIndex", "2"));
    EXPECT_TRUE(toStderr.set("maxFileSize", "100"));
    toStderr.finish("E", true, &PatternLayout::basicLayout());
    EXPECT_EQ(toStderr.getLayout(), &PatternLayout::basicLayout());
    EXPECT_EQ(toStderr.getMaxBackupIndex(), 0u);
    EXPECT_EQ(toStderr.getMaxFileSize(), 0);
    std::vector<Str> messages;
    for (const auto& entry : capture.entries())
        messages.push_back(entry.message);
    EXPECT_EQ(messages, (std::vector<Str>{
                            "Appender \"E\" has no filename, assuming stderr",
                            "Appender \"E\" has maxBackupIndex set without specifying a filename, ignoring",
                            "Appender \"E\" has maxFileSize set without specifying a filename, ignoring",
                        }));

    capture.clear();
    FileAppender& f = make(dir / "f.log");
    EXPECT_TRUE(f.set("maxBackupIndex", "3"));
    f.finish("F", false, nullptr);
    EXPECT_EQ(f.getMaxBackupIndex(), 0u);
    ASSERT_EQ(capture.count(), 1u);
    EXPECT_EQ(capture.entries()[0].message,
              "Appender \"F\" has maxBackupIndex set without specifying maxFileSize, ignoring");
    // The path was tried: the file exists, still empty.
    EXPECT_TRUE(fs::exists(dir / "f.log"));
}

TEST_F(AppenderTest, LinesFromManyThreadsStayWhole)
{
    FileAppender& a = make(dir / "t.log");
    constexpr int threads = 4;
    constexpr int lines = 500;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&a, t] {
            Str text(200, static_cast<char>('a' + t));
            LogEvent ev{Timeval::now(), &appenderLogger, LOG_LEVEL_WARN};
            for (int i = 0; i < lines; ++i)
                a.append(ev, text);
        });
    }
    for (auto& w : workers)
        w.join();
    std::istringstream in(read(dir / "t.log"));
    std::string line;
    int count = 0;
    while (std::getline(in, line)) {
        ++count;
        ASSERT_EQ(line.size(), 206u) << "line " << count;
        EXPECT_EQ(line.find_first_not_of(line[5], 5), 205u) << "line " << count;
    }
    EXPECT_EQ(count, threads * lines);
}

}  // namespace
