#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "logging/FileAppender.h"
#include "logging/LogConfig.h"
#include "logging/LogRegistry.h"
#include "logging/Logger.h"

namespace fs = std::filesystem;

namespace {

const Pathname file = Pathname::fromUtf8("test.cfg");

std::vector<LogConfigError> parse(const char* text, const char* section = nullptr,
                                  const std::map<Str, Pathname>& variables = {})
{
    LogConfigParser parser(section, variables);
    parser.parse(file, text);
    parser.applySpecs();
    return parser.errors();
}

std::vector<Str> errorTexts(const std::vector<LogConfigError>& errors)
{
    std::vector<Str> out;
    for (const auto& e : errors)
        out.push_back(Str::formatted("%u:%u:%s", e.kind, e.line, e.text.c_str()));
    return out;
}

using Texts = std::vector<Str>;

TEST(LogConfigGrammar, ParseErrorsShowTheWholeLine)
{
    auto errors = parse("appender.G1.maxFileSize=10x\n"
                        "appender.G1.maxFileSize=012\n"
                        "appender.G1.maxFileSize = 0\n"
                        "appender.G1.colour=red\n"
                        "appender..fileName=x\n"
                        "appender.G1\n"
                        "appender.G1=x\n"
                        "appender.G1.fileName\n"
                        "rootCategory INFO\n"
                        "rootCategory.x=INFO\n"
                        "somethingElse=1\n"
                        "word\n");
    EXPECT_EQ(errorTexts(errors), (Texts{
                                      "0:1:appender.G1.maxFileSize=10x",
                                      "0:2:appender.G1.maxFileSize=012",
                                      "0:4:appender.G1.colour=red",
                                      "0:5:appender..fileName=x",
                                      "0:6:appender.G1",
                                      "0:7:appender.G1=x",
                                      "0:8:appender.G1.fileName",
                                      "0:9:rootCategory INFO",
                                      "0:10:rootCategory.x=INFO",
                                      "0:11:somethingElse=1",
                                      "0:12:word",
                                  }));
    EXPECT_EQ(namedAppender("G1").getMaxFileSize(), 0);
}

TEST(LogConfigGrammar, CommentsPrefixesAndBlanks)
{
    auto errors = parse("  # a comment\n"
                        "\t\n"
                        "log4cpp.appender.C1.maxBackupIndex = 3   \r\n"
                        "appender.C1.fileName=/tmp/x#not part of it\n"
                        "appender.C1.maxFileSize=<!-- inline --> 77\n"
                        "<!-- a comment\n"
                        "over lines -->appender.C1.layout=SimpleLayout\n"
                        "log4cpp.\n"
                        "<!-- never closed\n"
                        "appender.C1.maxFileSize=1\n");
    EXPECT_EQ(errorTexts(errors), (Texts{"1:9:"}));
    FileAppender& a = namedAppender("C1");
    EXPECT_EQ(a.getMaxBackupIndex(), 3u);
    EXPECT_EQ(a.getFileName().toUtf8(), "/tmp/x");
    EXPECT_EQ(a.getMaxFileSize(), 77);
}

TEST(LogConfigGrammar, Sections)
{
    const char* text = "appender.S1.maxFileSize=1\n"
                       "[other]\n"
                       "appender.S1.maxFileSize=2\n"
                       "[a] ]\n"
                       "appender.S1.maxBackupIndex=3\n"
                       "[b]\n"
                       "appender.S1.maxFileSize=4\n";
    EXPECT_TRUE(parse(text, "A").empty());
    EXPECT_EQ(namedAppender("S1").getMaxFileSize(), 1);
    EXPECT_EQ(namedAppender("S1").getMaxBackupIndex(), 3u);

    // Without a section only what comes before the first header counts.
    EXPECT_TRUE(parse("appender.S2.maxFileSize=5\n[a]\nappender.S2.maxFileSize=6\n").empty());
    EXPECT_EQ(namedAppender("S2").getMaxFileSize(), 5);
}

TEST(LogConfigGrammar, VariablesAndDeferredSpecs)
{
    std::map<Str, Pathname> vars{{"TOLVIK_HOME", Pathname::fromUtf8("/opt/tolvik")}};
    auto errors = parse("category.VarTest = DEBUG, V2\n"
                        "category.VarBad = INFO, Nope, V1\n"
                        "category.NoEquals INFO\n"
                        "appender.V1.fileName=${TOLVIK_HOME}/var/log/x.log\n"
                        "appender.V2.fileName=${UNKNOWN}/${TOLVIK_HOME}\n",
                        nullptr, vars);
    EXPECT_EQ(errorTexts(errors), (Texts{"0:2:VarBad = INFO, Nope, V1", "0:3:NoEquals INFO"}));
    EXPECT_EQ(namedAppender("V1").getFileName().toUtf8(), "/opt/tolvik/var/log/x.log");
    EXPECT_EQ(namedAppender("V2").getFileName().toUtf8(), "${UNKNOWN}//opt/tolvik");

    LoggerConfig& c = loggerConfigFor("VarTest", 7);
    EXPECT_EQ(c.level.load(), LOG_LEVEL_DEBUG);
    EXPECT_TRUE(c.levelSet);
    ASSERT_EQ(c.appenders.size(), 1u);
    EXPECT_EQ(c.appenders[0], &namedAppender("V2"));
    // The unknown appender fails the line, the others still apply.
    LoggerConfig& bad = loggerConfigFor("VarBad", 6);
    ASSERT_EQ(bad.appenders.size(), 1u);
    EXPECT_EQ(bad.appenders[0], &namedAppender("V1"));
}

// One end-to-end load; it resolves every category, so it stays the only one.
class LoadTest : public testing::Test {
protected:
    LoadTest()
    {
        dir = fs::temp_directory_path()
            / ("tolvik-logconfig-" + std::to_string(testing::UnitTest::GetInstance()->random_seed()));
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    // The configured appenders keep their files open for good, which Windows
    // won't delete under them.
    ~LoadTest() override
    {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }

    void write(const char* name, const std::string& text) const { std::ofstream(dir / name, std::ios::binary) << text; }
    std::string read(const char* name) const
    {
        std::ifstream in(dir / name, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

    fs::path dir;
};

Logger early("EarlyCategory", false, 60, 100);

TEST_F(LoadTest, FileOverrideAndResolvedCategories)
{
    Pathname home(dir.wstring());
    // Without a dot in the file's own name the override is "log-local", a dot
    // in a directory name notwithstanding.
    fs::create_directories(dir / "conf.d");
    write("conf.d/log", "rootCategory=WARN,A1\n"
                 "appender.A1.fileName=${TOLVIK_HOME}/main.log\n"
                 "appender.A1.layout.ConversionPattern=%p %c %m%n\n"
                 "category.EarlyCategory=INFO\n"
                 "appender.A1.maxFileSize=12x\n");
    // The override in UTF-16 with its byte order mark.
    std::string utf16("\xFF\xFE", 2);
    for (char c : std::string("log4cpp.category.EarlyCategory=DEBUG\r\n")) {
        utf16.push_back(c);
        utf16.push_back('\0');
    }
    write("conf.d/log-local", utf16);
    bool ok = loadLogConfig(Pathname((dir / "conf.d" / "log").wstring()), nullptr, {{"TOLVIK_HOME", home}}, true);
    EXPECT_FALSE(ok) << "the bad size is reported";

    logDebug(early, "from early %d", 1);
    Logger later("LaterCategory", false, 60, 100);
    logInfo(later, "dropped below WARN");
    logWarn(later, "kept");
    std::string text = read("main.log");
    EXPECT_NE(text.find("DEBUG EarlyCategory from early 1\r\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("dropped"), std::string::npos) << text;
    EXPECT_NE(text.find("WARN LaterCategory kept\r\n"), std::string::npos) << text;
    std::string dir8 = Str::fromWide(dir.wstring());
    EXPECT_NE(text.find("WARN Logger " + dir8), std::string::npos) << text;
    EXPECT_NE(text.find("log:5: Parse error at \"appender.A1.maxFileSize=12x\""), std::string::npos) << text;

    EXPECT_FALSE(loadLogConfig(Pathname((dir / "missing").wstring()), nullptr, {}, true));
    EXPECT_NE(read("main.log").find("ERROR Logger Couldn't open log file configuration \"" + dir8), std::string::npos);
}

}  // namespace
