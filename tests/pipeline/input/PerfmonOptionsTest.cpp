#include "pipeline/input/PerfmonOptions.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace {

// Parses the arguments given after the program name.
bool parse(std::initializer_list<const wchar_t*> args, PerfmonOptions& options) {
  std::vector<const wchar_t*> argv{L"tolvik-perfmon"};
  argv.insert(argv.end(), args);
  return parsePerfmonOptions(argv.data(), static_cast<int>(argv.size()), options);
}

TEST(PerfmonOptions, NoArgumentsKeepTheDefaults) {
  PerfmonOptions o;
  ASSERT_TRUE(parse({}, o));
  EXPECT_TRUE(o.collectionName.empty());
  EXPECT_EQ(o.useConfFile, 1);
  EXPECT_EQ(o.showZero, 0);
  EXPECT_EQ(o.displayIfChanged, 0);
  EXPECT_EQ(o.test, 0);
  EXPECT_TRUE(o.index.empty());
}

TEST(PerfmonOptions, HelpOnlyAsTheSoleArgument) {
  for (const wchar_t* help : {L"/?", L"-h", L"-help"}) {
    PerfmonOptions o;
    EXPECT_FALSE(parse({help}, o)) << Str::fromWide(help);
    PerfmonOptions after;
    EXPECT_TRUE(parse({L"-test", help}, after)) << Str::fromWide(help);
    EXPECT_EQ(after.test, 1);
    PerfmonOptions before;
    EXPECT_TRUE(parse({help, L"-showzero"}, before)) << Str::fromWide(help);
    EXPECT_EQ(before.showZero, 1);
  }
  PerfmonOptions o;
  EXPECT_TRUE(parse({L"-H"}, o)) << "comparison is case-sensitive";
  EXPECT_TRUE(parse({L"--help"}, o));
}

TEST(PerfmonOptions, FlagsInAnyOrderAndRepeated) {
  PerfmonOptions o;
  ASSERT_TRUE(parse({L"-test", L"-displayIfChanged", L"-showui", L"-showzero", L"-test", L"-showui"}, o));
  EXPECT_EQ(o.useConfFile, 0);
  EXPECT_EQ(o.showZero, 1);
  EXPECT_EQ(o.displayIfChanged, 1);
  EXPECT_EQ(o.test, 1);
}

TEST(PerfmonOptions, UnknownArgumentsAreSkipped) {
  PerfmonOptions o;
  ASSERT_TRUE(parse({L"-bogus", L"value", L"-ShowZero", L"-displayifchanged", L""}, o));
  EXPECT_EQ(o.showZero, 0);
  EXPECT_EQ(o.displayIfChanged, 0);
  EXPECT_EQ(o.useConfFile, 1);
}

TEST(PerfmonOptions, CTakesNoValueAndTheNextTokenIsAnOption) {
  PerfmonOptions o;
  ASSERT_TRUE(parse({L"-c", L"-showzero"}, o));
  EXPECT_TRUE(o.collectionName.empty());
  EXPECT_EQ(o.showZero, 1);

  PerfmonOptions last;
  EXPECT_TRUE(parse({L"-c"}, last)) << "-c at the end is no usage error";
  PerfmonOptions word;
  ASSERT_TRUE(parse({L"-c", L"cpu", L"-test"}, word));
  EXPECT_TRUE(word.collectionName.empty());
  EXPECT_EQ(word.test, 1);
}

TEST(PerfmonOptions, IndexWithoutValueAsksForUsage) {
  PerfmonOptions o;
  EXPECT_FALSE(parse({L"-index"}, o));
  EXPECT_FALSE(parse({L"-showzero", L"-test", L"-index"}, o));
  EXPECT_FALSE(parse({L"-index", L"main", L"-index"}, o));
}

TEST(PerfmonOptions, IndexValues) {
  struct Case {
    const wchar_t* value;
    const char* expected;
  };
  for (const Case& c : {Case{L"main", "main"}, Case{L"\"main\"", "main"}, Case{L"\"\"", ""},
                        Case{L"\"", "\""}, Case{L"\"a", "\"a"}, Case{L"a\"", "a\""},
                        Case{L"\"\"x\"\"", "\"x\""}, Case{L"-test", "-test"},
                        Case{L"caf\u00e9 \u6f22", "caf\xc3\xa9 \xe6\xbc\xa2"}}) {
    PerfmonOptions o;
    ASSERT_TRUE(parse({L"-index", c.value}, o));
    EXPECT_EQ(o.index, c.expected) << Str::fromWide(c.value);
    EXPECT_EQ(o.test, 0) << "the value is never read as an option";
  }
  PerfmonOptions o;
  ASSERT_TRUE(parse({L"-index", L"first", L"-showzero", L"-index", L"second"}, o));
  EXPECT_EQ(o.index, "second");
  EXPECT_EQ(o.showZero, 1);
}

}  // namespace
