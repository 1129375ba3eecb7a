#include <gtest/gtest.h>

#include "foundation/JsonWriter.h"
#include "foundation/WildcardToRegex.h"
#include "foundation/XmlWriter.h"

TEST(XmlEscape, ByteTables)
{
    Str value;
    Str item;
    for (char c : Str("a\t\"&'<>\x01\x1f\n\r\xC3\xA9")) {
        appendXmlEscaped(value, c);
        appendXmlText(item, c);
    }
    EXPECT_EQ(value, "a\t&quot;&amp;&apos;&lt;&gt;\\x1\\x1F\n\r\xC3\xA9");
    EXPECT_EQ(item, "a\t&quot;&amp;&apos;&lt;&gt;\\x01\\x1F\n\r\xC3\xA9");
}

TEST(XmlWriter, KeysListsAndMaps)
{
    Str out;
    writeXmlKeyString(out, "  ", "n<1>", "v&\x01");
    writeXmlKeyBool(out, "", "b", true);
    writeXmlKeyBool(out, "", "b", false);
    EXPECT_EQ(out, "  <key name=\"n&lt;1&gt;\">v&amp;\\x1</key>\n"
                   "<key name=\"b\">true</key>\n"
                   "<key name=\"b\">false</key>\n");

    out.clear();
    writeXmlKeyList(out, " ", "l", {"x\x01", "y"});
    EXPECT_EQ(out, " <key name=\"l\">\n \t<list>\n \t\t<item>x\\x01</item>\n \t\t<item>y</item>\n \t</list>\n </key>\n");

    out.clear();
    writeXmlKeyList(out, "", "l", {});
    EXPECT_EQ(out, "<key name=\"l\">\n\t<list>\n\t</list>\n</key>\n");

    out.clear();
    writeXmlKeyMapList(out, "", "m", {{{"a", "1"}, {"b", "2"}}});
    EXPECT_EQ(out, "<key name=\"m\">\n\t<list>\n\t\t<item>\n\t\t\t<dict>\n"
                   "\t\t\t\t<key name=\"a\">1</key>\n\t\t\t\t<key name=\"b\">2</key>\n"
                   "\t\t\t</dict>\n\t\t</item>\n\t</list>\n</key>\n");
}

TEST(JsonEscape, Sequences)
{
    Str out;
    appendJsonEscaped(out, Str("a\tb\nc\fd\re\"f\\g</h<i\x01\x1f"));
    EXPECT_EQ(out, "a\\tb\\nc\\fd\\re\\\"f\\\\g<\\/h<i\\u0001\\u001f");

    out.clear();
    appendJsonEscaped(out, Str("\xE2\x80\xA8x\xE2\x80\xA9\xE2\x82\xAC\xE2"));
    EXPECT_EQ(out, "\\u2028x\\u2029\xE2\x82\xAC\xE2");
}

TEST(JsonWriter, Members)
{
    Str out;
    writeJsonString(out, "\t", "k\"", "v\n");
    writeJsonList(out, "", "l", {"a", "b"});
    writeJsonList(out, "", "e", {});
    EXPECT_EQ(out, "\t\"k\\\"\": \"v\\n\",\n\"l\": [\"a\", \"b\"],\n\"e\": [],\n");

    out.clear();
    writeJsonMapList(out, "", "m", {{{"a", "1"}}, {}});
    EXPECT_EQ(out, "\"m\": [\n\t{\n\t  \"a\": \"1\",\n\t},\n\t{\n\t},\n],\n");
}

TEST(WildcardToRegex, Rewrites)
{
    Str s("a.*");
    EXPECT_TRUE(wildcardToRegex(s, false));
    EXPECT_EQ(s, "a\\.[^\\\\]*");

    s = "C:\\x...y";
    EXPECT_TRUE(wildcardToRegex(s, true));
    EXPECT_EQ(s, "C:\\\\x.*y");

    s = "C:\\x....y";
    EXPECT_TRUE(wildcardToRegex(s, false));
    EXPECT_EQ(s, "C:\\x.*\\.y");

    s = "plain\\path";
    EXPECT_FALSE(wildcardToRegex(s, false));
    EXPECT_EQ(s, "plain\\path");
    EXPECT_TRUE(wildcardToRegex(s, true));
    EXPECT_EQ(s, "plain\\\\path");
}
