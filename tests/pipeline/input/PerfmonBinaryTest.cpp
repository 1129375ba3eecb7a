// Runs the real tolvik-perfmon binary as a child process and looks only at
// what it shows from outside: exit codes, standard output and error, files.
#include "platform/ChildProcess.h"
#include "platform/ConsoleControl.h"
#include "platform/Process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t TIMEOUT_MS = 60000;

const char USAGE[] =
    "Usage:\n"
    " tolvik-perfmon Usage: [-displayIfChanged] [-showzero] [-showui] [-test]\n\n"
    "\n\n"
    "    -showui              - Display the perfmon dialog instead of reading from the conf files\n\n"
    "    -showzero            - Filter out or non zero values\n\n"
    "    -displayIfChanged    - Only show values that have changed\n\n"
    "    -test                - Run in test mode\n\n"
    "    -index               - Sets the default index for the scripted input\n\n";

const char NO_HOME[] = "runPerfMon: TOLVIK_HOME must be set.  Stopping.\n";

std::wstring binary() { return fs::path(TOLVIK_PERFMON_BINARY).wstring(); }
// The same run with one collection handed in, for runs that last.
std::wstring withCollection() { return fs::path(TOLVIK_PERFMON_WITH_COLLECTION).wstring(); }

// Standard error is a text stream on Windows; compare its lines, not its
// line ends.
std::string withoutCarriageReturns(std::string text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out += text[i];
  }
  return out;
}

// Exit code -1 as the system reports it: 255 on POSIX, 0xFFFFFFFF on Windows.
bool isMinusOne(int exitCode) { return (exitCode & 0xFF) == 0xFF; }

struct Result {
  bool finished = false;
  int exitCode = -12345;
  std::string output;
  std::string errors;
};

Result runTool(const std::vector<std::wstring>& args, const std::vector<std::wstring>& environment) {
  Result r;
  platform::ChildProcess child;
  if (!child.start(binary(), args, environment)) return r;
  r.finished = child.wait(TIMEOUT_MS, r.exitCode);
  r.output = child.output();
  r.errors = withoutCarriageReturns(child.errors());
  return r;
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// An installation in a fresh directory: the shipped log configuration and an
// empty log directory.
class PerfmonBinary : public ::testing::Test {
protected:
  void SetUp() override {
    static int serial = 0;
    home = fs::temp_directory_path() /
           ("tolvik-perfmon-test-" + std::to_string(platform::currentProcessId()) + "-" + std::to_string(++serial));
    fs::create_directories(home / "etc");
    fs::create_directories(home / "var" / "log" / "tolvik");
    fs::copy_file(fs::path(TOLVIK_DIST_DIR) / "etc" / "log-cmdline.cfg", home / "etc" / "log-cmdline.cfg");
  }

  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(home, ignored);
  }

  fs::path logFile() const { return home / "var" / "log" / "tolvik" / "tolvik-perfmon.log"; }
  std::wstring homeVariable() const { return L"TOLVIK_HOME=" + home.wstring(); }

  // A scripted counter and one collection of it every 100 ms, for the test
  // program that hands the collection to the real run.
  std::vector<std::wstring> collectionEnvironment() const {
    fs::path script = home / "counters.pdh";
    std::ofstream(script) << "object Widget\ncounter Level | linear 1 1\n";
    return {homeVariable(), L"TOLVIK_PDH_SCRIPT=" + script.wstring(), L"TOLVIK_TEST_OBJECT=Widget",
            L"TOLVIK_TEST_COUNTERS=Level", L"TOLVIK_TEST_INTERVAL_MS=100"};
  }

  // Until the first event of the handed-in collection is on standard output.
  static bool waitForEvent(platform::ChildProcess& child) {
    std::string line;
    while (child.readOutputLine(line)) {
      if (line.find("counter=") != std::string::npos) return true;
    }
    return false;
  }

  // Until the log says logging stands; the stop handlers follow within
  // microseconds, so a short grace period after that line is plenty.
  bool waitUntilRunning() const { return waitUntilRunning(logFile()); }
  bool waitUntilRunning(const fs::path& log) const {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(TIMEOUT_MS);
    while (std::chrono::steady_clock::now() < deadline) {
      if (readFile(log).find("runPerfMon: Using logging configuration at") != std::string::npos) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  fs::path home;
};

TEST_F(PerfmonBinary, UsageFormsWriteTheUsageToStandardErrorAndExit1) {
  const std::vector<std::vector<std::wstring>> forms{
      {L"/?"}, {L"-h"}, {L"-help"}, {L"-index"}, {L"-showzero", L"-test", L"-index"}};
  for (const auto& args : forms) {
    Result r = runTool(args, {homeVariable()});
    ASSERT_TRUE(r.finished);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.errors, USAGE);
    EXPECT_EQ(r.output, "");
  }
  EXPECT_FALSE(fs::exists(logFile())) << "the usage comes before logging starts";
}

TEST_F(PerfmonBinary, WithoutHomeItStopsBeforeLogging) {
  for (const auto& environment : {std::vector<std::wstring>{}, std::vector<std::wstring>{L"TOLVIK_HOME="}}) {
    // "-h" after another argument is no help request: the run goes on to the home check.
    Result r = runTool({L"-test", L"-h", L"-index", L"\"main\""}, environment);
    ASSERT_TRUE(r.finished);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.errors, NO_HOME);
    EXPECT_EQ(r.output, "");
  }
}

TEST_F(PerfmonBinary, LogsWhereTheConfigurationSays) {
  Result r = runTool({L"-index", L"main", L"-bogus"}, {homeVariable()});
  ASSERT_TRUE(r.finished);
  std::string log = readFile(logFile());
  EXPECT_NE(log.find((home / "etc" / "log-cmdline.cfg").string()), std::string::npos) << log;
  // The shipped layout: date, padded level, category, message.
  EXPECT_NE(log.find(" INFO  tolvik-perfmon - runPerfMon: Using logging configuration at "), std::string::npos)
      << log;
}

TEST_F(PerfmonBinary, LocalLogConfigurationWins) {
  fs::path local = home / "var" / "log" / "tolvik" / "local.log";
  std::ofstream(home / "etc" / "log-cmdline-local.cfg")
      << "appender.perfmon.fileName=${TOLVIK_HOME}/var/log/tolvik/local.log\n";
  Result r = runTool({}, {homeVariable()});
  ASSERT_TRUE(r.finished);
  EXPECT_NE(readFile(local).find("runPerfMon: Using logging configuration at"), std::string::npos);
  EXPECT_EQ(readFile(logFile()), "");
}

// The configuration store delivers no collections yet: nothing to monitor.
TEST_F(PerfmonBinary, AnEmptyRunExitsMinus1WithNothingOnStandardOutput) {
  Result r = runTool({L"-showzero"}, {homeVariable()});
  ASSERT_TRUE(r.finished);
  EXPECT_TRUE(isMinusOne(r.exitCode)) << r.exitCode;
  EXPECT_EQ(r.output, "");
}

TEST_F(PerfmonBinary, ABrokenCounterScriptIsRefusedWithItsLine) {
  std::ofstream(home / "bad.pdh") << "object Widget\ncounter\n";
  Result r = runTool({}, {homeVariable(), L"TOLVIK_PDH_SCRIPT=" + (home / "bad.pdh").wstring()});
  ASSERT_TRUE(r.finished);
  EXPECT_TRUE(isMinusOne(r.exitCode)) << r.exitCode;
  EXPECT_EQ(r.output, "");
  EXPECT_NE(r.errors.find("bad.pdh:2:"), std::string::npos) << r.errors;
}

TEST_F(PerfmonBinary, ConsoleControlEndsTheRunWith0) {
  int delivered = 0;
  for (std::uint32_t code : {platform::CTRL_CODE_BREAK, platform::CTRL_CODE_INTERRUPT}) {
    platform::ChildProcess child;
    ASSERT_TRUE(child.start(withCollection(), {}, collectionEnvironment()));
    ASSERT_TRUE(waitForEvent(child)) << readFile(logFile());
    // Windows can aim only Ctrl-Break at one process, and not every console
    // host delivers even that.
    if (!child.sendControl(code)) continue;
    ++delivered;
    int exitCode = -12345;
    ASSERT_TRUE(child.wait(TIMEOUT_MS, exitCode)) << "control code " << code;
    EXPECT_EQ(exitCode, 0) << "control code " << code;
    EXPECT_EQ(child.errors(), "");
  }
  if (delivered == 0) GTEST_SKIP() << "no console control event can be sent here";
}

TEST_F(PerfmonBinary, ParentAlreadyGone) {
  std::uint32_t reaped = 0;
  {
    platform::ChildProcess gone;
    ASSERT_TRUE(gone.start(binary(), {L"-h"}, {}));
    int exitCode = 0;
    ASSERT_TRUE(gone.wait(TIMEOUT_MS, exitCode));
    reaped = gone.pid();
  }
  // Either it can't be opened any more (98), or, where the system keeps an
  // ended process's object a little while, it opens as ended (97).
  Result r = runTool({}, {homeVariable(), L"TOLVIKD_PROCESSID=" + std::to_wstring(reaped)});
  ASSERT_TRUE(r.finished);
  EXPECT_TRUE(r.exitCode == 98 || r.exitCode == 97) << r.exitCode;
  EXPECT_EQ(r.output, "");

  // Ended, but still held by its parent (a zombie, or an open handle): it
  // opens, and shows that it has ended.
  platform::ChildProcess ended;
  ASSERT_TRUE(ended.start(binary(), {L"-h"}, {}));
  std::string line;
  EXPECT_FALSE(ended.readOutputLine(line));
  r = runTool({}, {homeVariable(), L"TOLVIKD_PROCESSID=" + std::to_wstring(ended.pid())});
  ASSERT_TRUE(r.finished);
  EXPECT_EQ(r.exitCode, 97);
  EXPECT_EQ(r.output, "");

  // No process has the id 0.
  r = runTool({}, {homeVariable(), L"TOLVIKD_PROCESSID=not a number"});
  ASSERT_TRUE(r.finished);
  EXPECT_EQ(r.exitCode, 98);
  EXPECT_EQ(r.output, "");
}

TEST_F(PerfmonBinary, ParentEndingDuringTheRunEndsItWith99) {
  ASSERT_TRUE(platform::adoptOrphans());
  platform::ChildProcess parent;
  ASSERT_TRUE(parent.start(fs::path(TOLVIK_PARENT_HELPER).wstring(), {withCollection()}, collectionEnvironment()));
  std::string line;
  ASSERT_TRUE(parent.readOutputLine(line));
  platform::OtherProcess tool;
  ASSERT_TRUE(tool.open(static_cast<std::uint32_t>(std::stoul(line))));
  ASSERT_TRUE(waitUntilRunning()) << readFile(logFile());

  parent.closeInput();
  int parentCode = -12345;
  ASSERT_TRUE(parent.wait(TIMEOUT_MS, parentCode));
  EXPECT_EQ(parentCode, 0);
  int toolCode = -12345;
  ASSERT_TRUE(tool.wait(TIMEOUT_MS, toolCode));
  EXPECT_EQ(toolCode, 99);
}

}  // namespace
