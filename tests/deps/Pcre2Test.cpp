#include <pcre2.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace {

struct CodeDeleter {
  void operator()(pcre2_code* c) const { pcre2_code_free(c); }
};
struct MatchDataDeleter {
  void operator()(pcre2_match_data* m) const { pcre2_match_data_free(m); }
};
using Code = std::unique_ptr<pcre2_code, CodeDeleter>;
using MatchData = std::unique_ptr<pcre2_match_data, MatchDataDeleter>;

Code compile(std::string_view pattern, uint32_t options = 0) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  return Code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), options, &error,
                            &offset, nullptr));
}

bool jitAvailable() {
  uint32_t jit = 0;
  return pcre2_config(PCRE2_CONFIG_JIT, &jit) >= 0 && jit == 1;
}

std::string group(std::string_view subject, pcre2_match_data* md, int n) {
  const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(md);
  return std::string(subject.substr(ov[2 * n], ov[2 * n + 1] - ov[2 * n]));
}

}  // namespace

// Both our targets are x86, where PCRE2's JIT exists; a build without it is a fault.
TEST(Pcre2, MatchesWithCaptureGroupsThroughJit) {
  ASSERT_TRUE(jitAvailable());
  Code re = compile(R"(\\(\w+)\((\w+)\)\\% (.*)$)");
  ASSERT_TRUE(re);
  ASSERT_EQ(0, pcre2_jit_compile(re.get(), PCRE2_JIT_COMPLETE));
  size_t jitSize = 0;
  ASSERT_EQ(0, pcre2_pattern_info(re.get(), PCRE2_INFO_JITSIZE, &jitSize));
  EXPECT_GT(jitSize, 0u);
  MatchData md(pcre2_match_data_create_from_pattern(re.get(), nullptr));
  std::string_view subject = R"(\Processor(_Total)\% Processor Time)";
  int rc = pcre2_match(re.get(), reinterpret_cast<PCRE2_SPTR>(subject.data()), subject.size(), 0, 0, md.get(),
                       nullptr);
  ASSERT_EQ(4, rc);
  EXPECT_EQ("Processor", group(subject, md.get(), 1));
  EXPECT_EQ("_Total", group(subject, md.get(), 2));
  EXPECT_EQ("Processor Time", group(subject, md.get(), 3));

  std::string_view other = R"(\Memory\Available Bytes)";
  EXPECT_EQ(PCRE2_ERROR_NOMATCH, pcre2_match(re.get(), reinterpret_cast<PCRE2_SPTR>(other.data()), other.size(), 0,
                                             0, md.get(), nullptr));
}

TEST(Pcre2, UnicodePropertiesOnUtf8) {
  Code re = compile(R"(^\p{Lu}\w+$)", PCRE2_UTF | PCRE2_UCP);
  ASSERT_TRUE(re);
  MatchData md(pcre2_match_data_create_from_pattern(re.get(), nullptr));
  auto matches = [&](std::string_view s) {
    return pcre2_match(re.get(), reinterpret_cast<PCRE2_SPTR>(s.data()), s.size(), 0, 0, md.get(), nullptr) > 0;
  };
  EXPECT_TRUE(matches("\xC3\x84rger"));    // "Ärger"
  EXPECT_FALSE(matches("\xC3\xA4rger"));   // "ärger"
}

TEST(Pcre2, BadPatternReportsError) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  std::string_view bad = "a(b";
  pcre2_code* re =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(bad.data()), bad.size(), 0, &error, &offset, nullptr);
  EXPECT_EQ(nullptr, re);
  EXPECT_EQ(PCRE2_ERROR_MISSING_CLOSING_PARENTHESIS, error);
  EXPECT_EQ(3u, offset);
}
