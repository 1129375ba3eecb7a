#include <gtest/gtest.h>

#include "foundation/Str.h"

TEST(StrCase, ToLowerAcrossScripts)
{
    struct Case {
        const char* upper;
        const char* lower;
    };
    for (const Case& c : {
             Case{"HeLLo, World 123", "hello, world 123"},
             Case{"ΑΒΓΔ ΣΩ Άλφα", "αβγδ σω άλφα"},
             Case{"ПРИВЕТ, Мир Ёж", "привет, мир ёж"},
             Case{"ÀÉÎÕÜ ÇŒ Ÿ ÅNGSTRÖM", "àéîõü çœ ÿ ångström"},
             Case{"ĀĂĄĆ ŁÓDŹ", "āăąć łódź"},
             Case{"ⱥ Ⱥ", "ⱥ ⱥ"},          // 2-byte capital, 3-byte small
             Case{"\xE2\x84\xAA", "k"},   // KELVIN SIGN, 3 bytes to 1
             Case{"𐐀𐐁", "𐐨𐐩"},           // outside the BMP
             Case{"ß ǅ", "ß ǆ"},
         }) {
        EXPECT_EQ(Str(c.upper).toLower(), c.lower) << c.upper;
    }
}

TEST(StrCase, ToLowerKeepsWhatItCannotMapOneToOne)
{
    // İ lower-cases to two characters, which a simple table does not do.
    EXPECT_EQ(Str("İ").toLower(), "İ");
    // Malformed bytes and an overlong form pass unchanged.
    const Str odd("A\xFF" "B\xC3" "C\xE0\x80\x81");
    EXPECT_EQ(odd.toLower(), "a\xFF" "b\xC3" "c\xE0\x80\x81");

    Str s("ÉCOLE");
    s.toLower(s);  // out may be the string itself
    EXPECT_EQ(s, "école");
    Str fromSegment("unchanged");
    StrSegment("ΣΟΦΙΑ").toLower(fromSegment);
    EXPECT_EQ(fromSegment, "σοφια");
}

TEST(StrCase, CompareNoCaseEqualities)
{
    struct Pair {
        const char* a;
        const char* b;
    };
    for (const Pair& p : {Pair{"ΑΘΗΝΑ", "αθηνα"}, Pair{"МОСКВА", "москва"}, Pair{"ÉCOLE", "école"},
                          Pair{"Straße", "STRAßE"}, Pair{"", ""}, Pair{"\xE2\x84\xAA", "K"}}) {
        EXPECT_EQ(Str(p.a).compareNoCase(p.b), 0) << p.a << " / " << p.b;
        EXPECT_TRUE(StrSegment(p.b).equalsNoCase(p.a)) << p.a << " / " << p.b;
    }
}

TEST(StrCase, CompareNoCaseOrder)
{
    struct Ordered {
        const char* lesser;
        const char* greater;
    };
    for (const Ordered& o : {Ordered{"a", "B"}, Ordered{"abc", "ABCD"}, Ordered{"Z", "ä"}, Ordered{"Äb", "äC"},
                             Ordered{"STRASSE", "straße"} /* ß > s */, Ordered{"ω", "𐐀"},
                             Ordered{"\xC3\xA9", "\xE9"} /* malformed byte after characters */}) {
        EXPECT_LT(Str(o.lesser).compareNoCase(o.greater), 0) << o.lesser << " / " << o.greater;
        EXPECT_GT(Str(o.greater).compareNoCase(o.lesser), 0) << o.lesser << " / " << o.greater;
    }
    // A malformed byte only equals itself.
    EXPECT_EQ(Str::compareNoCase("x\xE9", 2, "X\xE9", 2), 0);
    EXPECT_NE(Str::compareNoCase("\xC3", 1, "\xC3\xA9", 2), 0);
}
