#include <gtest/gtest.h>

#include <string>

#include "foundation/Str.h"

namespace {

const char* const samples[] = {
    "",
    "plain ASCII",
    ("Gr\xC3\xBC\xC3\x9F" "e"),                   // Grüße
    "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E",       // 日本語
    "\xF0\x9F\x98\x80 \xF0\x9D\x84\x9E",          // 😀 𝄞, outside the BMP
    "\xEF\xBF\xBF\xF4\x8F\xBF\xBF\xC2\x80",       // edges: U+FFFF, U+10FFFF, U+0080
};

}  // namespace

TEST(StrWide, RoundTrips)
{
    for (const char* s : samples) {
        const std::wstring wide = Str(s).toWide();
        EXPECT_EQ(Str::fromWide(wide), s);
    }
}

TEST(StrWide, OutsideTheBmp)
{
    const std::wstring wide = Str("\xF0\x9F\x98\x80").toWide();
    EXPECT_EQ(wide, L"\U0001F600");
    // UTF-16 needs a surrogate pair, UTF-32 one unit.
    EXPECT_EQ(wide.size(), sizeof(wchar_t) == 2 ? 2u : 1u);
    EXPECT_EQ(Str::fromWide(L"x\U0001D11Ey"), "x\xF0\x9D\x84\x9Ey");
}

TEST(StrWide, AppendsToWhatIsThere)
{
    std::wstring w = L"<";
    Str::appendUtf8(w, "\xC3\xA9>", 3);
    EXPECT_EQ(w, L"<\u00E9>");
    Str s("[");
    s.appendWide(L"\u00E9]", 2).appendWide(L"", 0);
    EXPECT_EQ(s, "[\xC3\xA9]");
}

TEST(StrWide, IllFormedInputBecomesReplacementCharacters)
{
    EXPECT_EQ(Str("a\xFF" "b").toWide(), L"a\uFFFDb");
    EXPECT_EQ(Str("a\x80" "b").toWide(), L"a\uFFFDb");
    EXPECT_EQ(Str("\xE6\x97" "b").toWide(), L"\uFFFDb");  // truncated sequence: one replacement
    // A lone surrogate in the wide text.
    const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b'};
    EXPECT_EQ(Str().appendWide(lone, 3), "a\xEF\xBF\xBD" "b");
}

TEST(StrWide, CompareWide)
{
    EXPECT_EQ(Str("abc").compareWide(L"abc"), 0);
    EXPECT_LT(Str("abc").compareWide(L"abd"), 0);
    EXPECT_GT(Str("abd").compareWide(L"abc"), 0);
    EXPECT_LT(Str("ab").compareWide(L"abc"), 0);
    EXPECT_GT(Str("abc").compareWide(L"ab"), 0);
    EXPECT_EQ(Str("").compareWide(L""), 0);
    EXPECT_EQ(Str("Gr\xC3\xBC\xC3\x9F" "e").compareWide(L"Gr\u00FC\u00DFe"), 0);
    EXPECT_GT(Str("\xC3\xA9").compareWide(L"z"), 0);
    EXPECT_LT(Str("z").compareWide(L"\u00E9"), 0);
    EXPECT_LT(Str("ab\xC3\xA9").compareWide(L"ab\u00E9x"), 0);
    // UTF-8 order, not UTF-16 order: U+1F600 sorts after U+FFFD.
    EXPECT_GT(Str("\xF0\x9F\x98\x80").compareWide(L"\uFFFD"), 0);
    EXPECT_LT(Str::compareWide("\xEF\xBF\xBD", 3, L"\U0001F600", std::wstring(L"\U0001F600").size()), 0);
}
