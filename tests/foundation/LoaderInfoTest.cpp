#include "foundation/LoaderInfo.h"

#include "platform/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

TEST(LoaderInfo, ConstructorDefaults) {
  LoaderInfo* info = LoaderInfo::getInstance();
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info, LoaderInfo::getInstance());
  EXPECT_EQ(info->getComponentName(), "tolvikd");
  EXPECT_EQ(info->getInstallName(), "myinstall");
  EXPECT_EQ(info->getManagementPort(), 8089);
  EXPECT_EQ(info->getManagementPortText(), "8089");
  EXPECT_EQ(info->getProcessId(), platform::currentProcessId());
  EXPECT_EQ(info->getRunMode(), 3);
  EXPECT_EQ(info->getServiceAction(), 0);
}

TEST(LoaderInfo, ExpandEnvironment) {
  ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_LI_A", L"alpha"));
  ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_LI_W", L"caf\u00e9"));
  ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_LI_EMPTY", L""));
  struct Case {
    const char* text;
    const char* expected;
  };
  for (const Case& c : {Case{"$TOLVIK_LI_A", "alpha"}, Case{"x$TOLVIK_LI_A/y", "xalpha/y"},
                        Case{"$TOLVIK_LI_A.$TOLVIK_LI_A", "alpha.alpha"},
                        Case{"$TOLVIK_LI_AB", "$TOLVIK_LI_AB"},  // the longest name counts
                        Case{"$TOLVIK_LI_W!", "caf\xc3\xa9!"}, Case{"$TOLVIK_LI_EMPTY-", "$TOLVIK_LI_EMPTY-"},
                        Case{"$TOLVIK_LI_UNSET", "$TOLVIK_LI_UNSET"}, Case{"a$", "a$"}, Case{"$$", "$$"},
                        Case{"$ x", "$ x"}, Case{"$$TOLVIK_LI_A", "$alpha"}, Case{"", ""}}) {
    EXPECT_EQ(LoaderInfo::expandEnvironment(c.text), c.expected) << c.text;
  }
  EXPECT_EQ(LoaderInfo::expandEnvironment(nullptr), "");
}

TEST(LoaderInfo, InitEnvironmentNormalisesTheHomeAndLooksForPython) {
  fs::path dir = fs::temp_directory_path() / ("tolvik-loaderinfo-" + std::to_string(platform::currentProcessId()));
  fs::create_directories(dir / "bin");
  std::wstring plain = dir.wstring();
  std::wstring sep = fs::path("a/b").make_preferred().wstring().substr(1, 1);

  ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_HOME", plain + sep + sep));
  ASSERT_TRUE(platform::setEnvironmentVariable(L"TOLVIK_DB", L""));
  LoaderInfo* info = LoaderInfo::getInstance();
  info->initEnvironment();
  EXPECT_EQ(info->getHome(), plain);
  EXPECT_EQ(platform::getEnvironmentVariable(L"TOLVIK_HOME"), plain) << "children see the normal form";
  EXPECT_TRUE(info->getDb().empty());
  EXPECT_FALSE(info->getHasPython());

  std::ofstream(dir / "bin" / "python.exe") << "";
  info->initEnvironment();
  EXPECT_TRUE(info->getHasPython());
  fs::remove_all(dir);
}

// The set-up is once per process, so one test tells the whole story: the
// watched process being gone is a stop request, delivered once, and a second
// set-up changes nothing.
TEST(LoaderInfo, SignalSetupCallsTheFirstCallbackOnce) {
  static std::atomic<int> firstCalls{0};
  static std::atomic<int> secondCalls{0};
  static int argument = 0;
  // No process has this id on either platform.
  const std::uint32_t gone = 0x7FFFFFF0;
  LoaderInfo::setupSignalHandling(
      [](void* arg) {
        EXPECT_EQ(arg, &argument);
        ++firstCalls;
      },
      &argument, 1, gone);
  LoaderInfo::setupSignalHandling([](void*) { ++secondCalls; }, nullptr, 1, gone);
  for (int i = 0; i < 500 && firstCalls == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(firstCalls, 1);
  EXPECT_EQ(secondCalls, 0);
}

// Mode 2 ends the process with code 2 when the watched process is gone. Its
// own process, so that the set-up hasn't happened yet.
TEST(LoaderInfoDeathTest, WatchedProcessGoneEndsMode2WithCode2) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        LoaderInfo::setupSignalHandling([](void*) {}, nullptr, 2, 0x7FFFFFF0);
        for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
      },
      ::testing::ExitedWithCode(2), "");
}

}  // namespace
