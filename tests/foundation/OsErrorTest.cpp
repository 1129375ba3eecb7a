#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "platform/OsError.h"

using namespace platform;

TEST(OsError, SetGetAndScopedSaver)
{
    setLastOsError(5);
    EXPECT_EQ(lastOsError(), 5u);
    {
        LastOsErrorSaver saver;
        EXPECT_EQ(saver.code(), 5u);
        setLastOsError(13);
        EXPECT_EQ(lastOsError(), 13u);
    }
    EXPECT_EQ(lastOsError(), 5u);
}

TEST(OsError, SystemText)
{
    // Code 2 is "file not found" on both platforms.
    std::string text;
    setLastOsError(22);
    ASSERT_TRUE(osErrorText(2, text));
    EXPECT_EQ(lastOsError(), 22u);
    std::string lower;
    for (char c : text)
        lower.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    EXPECT_NE(lower.find("file"), std::string::npos) << text;
    ASSERT_FALSE(text.empty());
    EXPECT_NE(text.back(), '\n');
    EXPECT_NE(text.back(), '\r');

    std::string untouched = "before";
    EXPECT_FALSE(osErrorText(0x7A11BEEF, untouched));
    EXPECT_EQ(untouched, "before");
}
