#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include "foundation/Str.h"

namespace {

std::vector<Str> tokens(const StrSegment& text, char sep, int maxSplits = -1)
{
    std::vector<Str> out;
    acceptor_PopulateStrVector acceptor(out);
    Str::split(text, acceptor, sep, maxSplits);
    return out;
}

std::vector<Str> tokens(const StrSegment& text, const char* sep, int maxSplits = -1)
{
    std::vector<Str> out;
    acceptor_PopulateStrVector acceptor(out);
    Str::split(text, acceptor, StrSegment(sep), maxSplits);
    return out;
}

std::vector<Str> tokens(const StrSegment& text, const CharClass& seps, int maxSplits = -1)
{
    std::vector<Str> out;
    acceptor_PopulateStrVector acceptor(out);
    Str::split(text, acceptor, seps, maxSplits);
    return out;
}

using V = std::vector<Str>;

}  // namespace

TEST(StrFormat, AppendsAndFormatReplaces)
{
    Str s("x=");
    s.appendFormat("%d/%s/%05.1f", 42, "abc", 3.14159);
    EXPECT_EQ(s, "x=42/abc/003.1");
    s.format("%llu", 18446744073709551615ULL);
    EXPECT_EQ(s, "18446744073709551615");
    EXPECT_EQ(Str::formatted("%c%c", 'o', 'k'), "ok");
}

TEST(StrFormat, TextsAroundTheStackBufferSize)
{
    // 255 characters fit the first try; 256 and more need the second.
    for (int n : {0, 1, 255, 256, 257, 1000, 100000}) {
        Str s("<");
        s.appendFormat("%*s|", n, "");
        ASSERT_EQ(s.size(), static_cast<std::size_t>(n) + 2) << n;
        EXPECT_EQ(s.front(), '<');
        EXPECT_EQ(s.back(), '|');
        EXPECT_EQ(s.find_first_not_of(' ', 1), static_cast<std::size_t>(n) + 1);
    }
}

TEST(StrFormat, NumberTexts)
{
    Str s;
    s.appendSigned(std::numeric_limits<std::int64_t>::min()).append(" ");
    s.appendUnsigned(std::numeric_limits<std::uint64_t>::max());
    s.appendMillis(7);
    s.appendMillis(999);
    EXPECT_EQ(s, "-9223372036854775808 18446744073709551615.007.999");
    EXPECT_EQ(Str::fromSigned(-5), "-5");
    EXPECT_EQ(Str::fromUnsigned(0), "0");
}

TEST(StrParse, UnsignedFollowsStrtoui64ButAllOrNothing)
{
    std::uint64_t v = 0;
    EXPECT_TRUE(Str("42").parseUnsigned64(v));
    EXPECT_EQ(v, 42u);
    EXPECT_TRUE(Str(" \t\n42").parseUnsigned64(v));
    EXPECT_EQ(v, 42u);
    EXPECT_TRUE(Str("+7").parseUnsigned64(v));
    EXPECT_EQ(v, 7u);
    EXPECT_TRUE(Str("18446744073709551615").parseUnsigned64(v));
    EXPECT_EQ(v, std::numeric_limits<std::uint64_t>::max());

    for (const char* bad : {" -1", "-0", "1x", "", "   ", "42 ", "+", "18446744073709551616",
                            "99999999999999999999999", "1 2", "0x10"})
        EXPECT_FALSE(Str(bad).parseUnsigned64(v)) << '"' << bad << '"';
}

TEST(StrParse, Bases)
{
    std::uint64_t v = 0;
    EXPECT_TRUE(Str("ff").parseUnsigned64(v, 16));
    EXPECT_EQ(v, 255u);
    EXPECT_TRUE(Str("0XfF").parseUnsigned64(v, 16));
    EXPECT_EQ(v, 255u);
    EXPECT_TRUE(Str("0x10").parseUnsigned64(v, 0));
    EXPECT_EQ(v, 16u);
    EXPECT_TRUE(Str("010").parseUnsigned64(v, 0));
    EXPECT_EQ(v, 8u);
    EXPECT_TRUE(Str("0").parseUnsigned64(v, 0));
    EXPECT_EQ(v, 0u);
    EXPECT_FALSE(Str("0x").parseUnsigned64(v, 16));
    EXPECT_FALSE(Str("08").parseUnsigned64(v, 0));
    EXPECT_FALSE(Str("12").parseUnsigned64(v, 1));
}

TEST(StrParse, SignedAndNarrowRanges)
{
    std::int64_t s64 = 0;
    EXPECT_TRUE(Str(" -9223372036854775808").parseSigned64(s64));
    EXPECT_EQ(s64, std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(Str("9223372036854775807").parseSigned64(s64));
    EXPECT_EQ(s64, std::numeric_limits<std::int64_t>::max());
    EXPECT_FALSE(Str("9223372036854775808").parseSigned64(s64));
    EXPECT_FALSE(Str("-9223372036854775809").parseSigned64(s64));
    EXPECT_FALSE(Str("--1").parseSigned64(s64));

    std::int32_t s32 = 0;
    EXPECT_TRUE(Str("-2147483648").parseSigned32(s32));
    EXPECT_EQ(s32, std::numeric_limits<std::int32_t>::min());
    EXPECT_FALSE(Str("2147483648").parseSigned32(s32));
    EXPECT_TRUE(Str("-0x10").parseSigned32(s32, 0));
    EXPECT_EQ(s32, -16);

    std::uint32_t u32 = 0;
    EXPECT_TRUE(Str("4294967295").parseUnsigned32(u32));
    EXPECT_EQ(u32, 4294967295u);
    EXPECT_FALSE(Str("4294967296").parseUnsigned32(u32));
    EXPECT_FALSE(Str("-1").parseUnsigned32(u32));

    std::uint16_t u16 = 0;
    std::int16_t s16 = 0;
    EXPECT_TRUE(Str("65535").parseUnsigned16(u16));
    EXPECT_EQ(u16, 65535);
    EXPECT_FALSE(Str("65536").parseUnsigned16(u16));
    EXPECT_TRUE(Str("-32768").parseSigned16(s16));
    EXPECT_EQ(s16, -32768);
    EXPECT_FALSE(Str("-32769").parseSigned16(s16));
}

TEST(StrParse, SegmentsAreNotReadPastTheirEnd)
{
    const char text[] = "1234.5e1xyz";
    std::uint64_t v = 0;
    EXPECT_TRUE(StrSegment(text, 3).parseUnsigned64(v));
    EXPECT_EQ(v, 123u);
    double d = 0;
    EXPECT_TRUE(StrSegment(text, 6).parseDouble(d));
    EXPECT_DOUBLE_EQ(d, 1234.5);
    EXPECT_FALSE(StrSegment(text, 9).parseDouble(d));
}

TEST(StrParse, Double)
{
    double d = 0;
    EXPECT_TRUE(Str("1.5").parseDouble(d));
    EXPECT_DOUBLE_EQ(d, 1.5);
    EXPECT_TRUE(Str("  -2.5e3").parseDouble(d));
    EXPECT_DOUBLE_EQ(d, -2500.0);
    EXPECT_TRUE(Str("7").parseDouble(d));
    EXPECT_DOUBLE_EQ(d, 7.0);
    for (const char* bad : {"", " ", ".", "1.5x", "1.5 ", "1e999", "abc"})
        EXPECT_FALSE(Str(bad).parseDouble(d)) << '"' << bad << '"';
}

TEST(StrParse, Bool)
{
    for (const char* no : {"", "0", "f", "F", "false", "FaLsE", "no", "NO"}) {
        bool b = true;
        EXPECT_TRUE(Str(no).parseBool(b)) << no;
        EXPECT_FALSE(b) << no;
    }
    for (const char* yes : {"1", "t", "T", "true", "TRUE", "yes", "Yes"}) {
        bool b = false;
        EXPECT_TRUE(Str(yes).parseBool(b)) << yes;
        EXPECT_TRUE(b) << yes;
    }
    bool b = false;
    for (const char* bad : {"2", "y", "n", "on", " true", "true ", "falsey", "00"})
        EXPECT_FALSE(Str(bad).parseBool(b)) << bad;
}

TEST(StrSplit, SingleByte)
{
    EXPECT_EQ(tokens(";", ';'), (V{"", ""}));
    EXPECT_EQ(tokens("", ';'), V{});
    EXPECT_EQ(tokens("abc", ';'), V{"abc"});
    EXPECT_EQ(tokens("a;;b;", ';'), (V{"a", "", "b", ""}));
    EXPECT_EQ(tokens("a;b;c", ';', 1), (V{"a", "b;c"}));
    EXPECT_EQ(tokens("a;b;c", ';', 0), V{"a;b;c"});
    EXPECT_EQ(tokens("a;b;c", ';', 5), (V{"a", "b", "c"}));
}

TEST(StrSplit, SeparatorString)
{
    EXPECT_EQ(tokens("a::b::", "::"), (V{"a", "b", ""}));
    EXPECT_EQ(tokens("a:b", "::"), V{"a:b"});
    EXPECT_EQ(tokens("a:::b", "::"), (V{"a", ":b"}));
    EXPECT_EQ(tokens("x::y::z", "::", 1), (V{"x", "y::z"}));
    EXPECT_EQ(tokens("a;b", ";"), (V{"a", "b"}));
    EXPECT_EQ(tokens("a;b", ""), V{"a;b"});
    EXPECT_EQ(tokens("", ""), V{});
}

TEST(StrSplit, ClassTable)
{
    EXPECT_EQ(tokens("a, b", CharClass::listSeparators), (V{"a", "", "b"}));
    EXPECT_EQ(tokens("a b,c d", CharClass::listSeparators, 2), (V{"a", "b", "c d"}));
    EXPECT_EQ(tokens(",", CharClass::listSeparators), (V{"", ""}));
}

TEST(StrSplit, SegmentTokensPointIntoTheText)
{
    const Str text("key = value");
    std::vector<StrSegment> out;
    acceptor_PopulateStrSegmentVector acceptor(out);
    text.segment().split(acceptor, '=');
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].data(), text.data());
    EXPECT_EQ(out[0].trim(), "key");
    EXPECT_EQ(out[1].trim(), "value");
    EXPECT_EQ(out[1].data(), text.data() + 6);
}

TEST(StrClass, FindInClassAndTables)
{
    const Str s("  ab_1-x.y");
    EXPECT_EQ(findInClass(CharClass::whitespace, s.data(), s.size(), 0, false), 2u);
    EXPECT_EQ(findInClass(CharClass::identifier, s.data(), s.size(), 2, false), 6u);
    EXPECT_EQ(findInClass(CharClass::name, s.data(), s.size(), 2, false), 8u);
    EXPECT_EQ(findInClass(CharClass::dottedName, s.data(), s.size(), 2, false), Str::npos);
    EXPECT_EQ(findInClass(CharClass::digits, s.data(), s.size(), 6, true), Str::npos);
    EXPECT_EQ(findInClass(CharClass::digits, s.data(), s.size(), 99, true), Str::npos);
    EXPECT_TRUE(CharClass::hexDigits.contains('F'));
    EXPECT_FALSE(CharClass::hexDigits.contains('g'));
    EXPECT_FALSE(CharClass::identifierStart.contains('1'));
    EXPECT_FALSE(CharClass::letters.contains('\xC3'));  // UTF-8 bytes are not letters
}

TEST(StrTrim, NarrowAndWide)
{
    EXPECT_EQ(Str(" \t a b \r\n\v\f").trim(), "a b");
    EXPECT_EQ(Str("  a ").trimLeft(), "a ");
    EXPECT_EQ(Str("  a ").trimRight(), "  a");
    EXPECT_EQ(Str(" \t ").trim(), "");
    EXPECT_EQ(Str("\xC2\xA0x").trim(), "\xC2\xA0x");  // only ASCII white space

    std::wstring w = L" \t x y \n";
    Str::trim(w);
    EXPECT_EQ(w, L"x y");
    w = L"  x  ";
    Str::trimLeft(w);
    EXPECT_EQ(w, L"x  ");
    Str::trimRight(w);
    EXPECT_EQ(w, L"x");
}

TEST(StrUtf8, SubstrCharsCountsCharacters)
{
    const Str s("a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80"
                "b");  // a é 日 😀 b
    EXPECT_EQ(s.substrChars(1, 2), "\xC3\xA9\xE6\x97\xA5");
    EXPECT_EQ(s.substrChars(3), "\xF0\x9F\x98\x80"
                                "b");
    EXPECT_EQ(s.substrChars(0, 1), "a");
    EXPECT_EQ(s.substrChars(4, 99), "b");
    EXPECT_EQ(s.substrChars(5), "");
    try {
        (void)s.substrChars(6);
        FAIL() << "no exception";
    } catch (const std::logic_error& e) {
        EXPECT_EQ(std::string(e.what()), s + " accessed out of range");
    }
    // A truncated character at the end is cut, not read past.
    EXPECT_EQ(Str("a\xE6").substrChars(1), "\xE6");
    EXPECT_THROW((void)Str("a\xE6").substrChars(3), std::logic_error);
}

TEST(StrUtf8, Validity)
{
    for (const char* good : {"", "plain", "\xC3\xA9", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(Str::isValidUtf8(good, std::strlen(good))) << good;
    for (const char* bad : {"\x80", "\xC0\x80", "\xC3", "\xE6\x97", "\xED\xA0\x80", "\xE0\x9F\xBF",
                            "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "a\xC3z"})
        EXPECT_FALSE(Str::isValidUtf8(bad, std::strlen(bad))) << bad;
}

TEST(StrEscape, Csv)
{
    Str s;
    s.appendCsv("plain").append(",").appendCsv("a,b").append(",").appendCsv("say \"hi\"").append(",");
    s.appendCsv("two\nlines").append(",").appendCsv("");
    EXPECT_EQ(s, "plain,\"a,b\",\"say \"\"hi\"\"\",\"two\nlines\",");
}

TEST(StrEscape, UrlEncodeAndDecode)
{
    EXPECT_EQ(Str("a b").urlEncode(), "a%20b");
    EXPECT_EQ(Str("AZaz09-_.~").urlEncode(), "AZaz09-_.~");
    EXPECT_EQ(Str("/?&=+%\xC3\xA9").urlEncode(), "%2F%3F%26%3D%2B%25%C3%A9");

    struct Case {
        const char* in;
        const char* out;
        bool ok;
    };
    for (const Case& c : {Case{"a%20b+c", "a b c", true}, Case{"100%", "100%", true}, Case{"%4", "%4", true},
                          Case{"%zz%41", "%zzA", true}, Case{"%c3%A9", "\xC3\xA9", true},
                          Case{"plain", "plain", true}, Case{"%FF+", "%FF+", false},
                          Case{"\xFF", "\xFF", false}, Case{"", "", true}}) {
        Str s(c.in);
        EXPECT_EQ(s.urlDecode(), c.ok) << c.in;
        EXPECT_EQ(s, c.out) << c.in;
    }

    Str all;
    for (int b = 1; b < 128; ++b)
        all.push_back(static_cast<char>(b));
    all += "\xC3\xA9\xF0\x9F\x98\x80";
    Str roundTrip(all);
    roundTrip.urlEncode();
    EXPECT_TRUE(roundTrip.urlDecode());
    EXPECT_EQ(roundTrip, all);
}

TEST(StrEscape, BackslashEscape)
{
    Str out("\"");
    Str("a\nb\rc\\d\"e'").backslashEscape(out, '"');
    EXPECT_EQ(out, "\"a\\nb\\rc\\\\d\\\"e'\"");
    Str bare;
    Str("say \"x\"\n").backslashEscape(bare);
    EXPECT_EQ(bare, "say \"x\"\\n");
}

TEST(StrEscape, CleanControlChars)
{
    EXPECT_EQ(Str("a\tb").cleanControlChars(), "a b");
    EXPECT_EQ(Str("x\ny\rz\x01\x7F~").cleanControlChars(), "x\\ny\\rz\\x01\\x7F~");
    EXPECT_EQ(Str("\xC3\xA9").cleanControlChars(), "\\xC3\\xA9");
    EXPECT_EQ(Str(" plain ").cleanControlChars(), " plain ");
    EXPECT_EQ(Str(std::string("a\0b", 3)).cleanControlChars(), "a\\x00b");
}

TEST(StrEscape, StripQuotes)
{
    Str s("\"abc\"");
    EXPECT_TRUE(s.stripQuotes());
    EXPECT_EQ(s, "abc");
    s = "\"\"";
    EXPECT_TRUE(s.stripQuotes());
    EXPECT_EQ(s, "");
    s = "'x'";
    EXPECT_FALSE(s.stripQuotes());
    EXPECT_TRUE(s.stripQuotes('\''));
    EXPECT_EQ(s, "x");
    for (const char* left : {"\"", "\"abc", "abc\"", "a"}) {
        s = left;
        EXPECT_FALSE(s.stripQuotes()) << left;
        EXPECT_EQ(s, left);
    }
}
