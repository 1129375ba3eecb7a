#include "foundation/PathRules.h"

#include <gtest/gtest.h>

namespace {

const PathRules WIN(platform::WINDOWS_PATH_CONVENTIONS);
const PathRules POSIX(platform::POSIX_PATH_CONVENTIONS);

std::wstring appended(const PathRules& rules, std::wstring path, const char* component)
{
    rules.append(path, component);
    return path;
}

template <typename Op>
std::wstring edited(std::wstring path, Op op)
{
    op(path);
    return path;
}

} // namespace

TEST(PathRulesWindows, joins)
{
    EXPECT_EQ(appended(WIN, L"", "etc"), L"\\etc");
    EXPECT_EQ(appended(WIN, L"", "C:\\tolvik"), L"C:\\tolvik");
    EXPECT_EQ(appended(WIN, L"\\", "etc"), L"\\etc");
    EXPECT_EQ(appended(WIN, L"C:\\home\\", "\\\\etc"), L"C:\\home\\etc");
    EXPECT_EQ(appended(WIN, L"C:", "etc"), L"C:\\etc");
    EXPECT_EQ(appended(WIN, L"x", ""), L"x");
    EXPECT_EQ(appended(WIN, L"a", "caf\xc3\xa9"), L"a\\caf\u00e9");
}

TEST(PathRulesWindows, splits)
{
    EXPECT_EQ(WIN.basename(L"C:\\a\\b"), L"b");
    EXPECT_EQ(WIN.basename(L"C:\\a\\b\\\\"), L"b");
    EXPECT_EQ(WIN.basename(L"a\\b/c"), L"c");
    EXPECT_EQ(WIN.basename(L"C:\\"), L"C:\\");
    EXPECT_EQ(WIN.basename(L"C:/"), L"C:\\");
    EXPECT_EQ(WIN.basename(L"\\"), L"\\");
    EXPECT_EQ(WIN.basename(L"C:foo"), L"foo");
    EXPECT_EQ(WIN.basename(L""), L"");

    EXPECT_EQ(WIN.dirname(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(WIN.dirname(L"C:\\a\\b\\"), L"C:\\a");
    EXPECT_EQ(WIN.dirname(L"C:\\a"), L"C:\\");
    EXPECT_EQ(WIN.dirname(L"C:\\"), L"C:\\");
    EXPECT_EQ(WIN.dirname(L"C:a"), L"C:");
    EXPECT_EQ(WIN.dirname(L"\\a"), L"\\");
    EXPECT_EQ(WIN.dirname(L"a"), L"");
    EXPECT_EQ(WIN.dirname(L"a/b\\\\c"), L"a/b");
    EXPECT_EQ(WIN.dirname(L"\\\\server\\share\\x"), L"\\\\server\\share");

    EXPECT_TRUE(WIN.isAbsolute(L"\\x"));
    EXPECT_TRUE(WIN.isAbsolute(L"C:\\x"));
    EXPECT_FALSE(WIN.isAbsolute(L"C:x"));
    EXPECT_FALSE(WIN.isAbsolute(L"x:"));
    EXPECT_FALSE(WIN.isAbsolute(L"ab\\c"));
    EXPECT_FALSE(WIN.isAbsolute(L""));
}

TEST(PathRulesWindows, normalForms)
{
    auto trim = [](std::wstring& p) { WIN.removeTrailingSeparators(p); };
    EXPECT_EQ(edited(L"C:\\", trim), L"C:\\");
    EXPECT_EQ(edited(L"C:\\\\\\", trim), L"C:\\");
    EXPECT_EQ(edited(L"C:\\a\\\\", trim), L"C:\\a");
    EXPECT_EQ(edited(L"\\\\\\", trim), L"\\");
    EXPECT_EQ(edited(L"a\\", trim), L"a");

    auto collapse = [](std::wstring& p) { WIN.collapseSeparators(p); };
    EXPECT_EQ(edited(L"\\\\server\\\\share", collapse), L"\\\\server\\share");
    EXPECT_EQ(edited(L"\\\\\\\\server", collapse), L"\\\\server");
    EXPECT_EQ(edited(L"C:\\a\\\\\\b", collapse), L"C:\\a\\b");

    auto dots = [](std::wstring& p) { WIN.resolveDotDot(p); };
    EXPECT_EQ(edited(L"C:\\a\\b\\..\\c", dots), L"C:\\a\\c");
    EXPECT_EQ(edited(L"C:a\\..\\b", dots), L"C:b");
    EXPECT_EQ(edited(L"..\\a\\..\\b", dots), L"..\\b");
    EXPECT_EQ(edited(L"a\\..\\..\\b", dots), L"..\\b");
    EXPECT_EQ(edited(L"a/b/../c", dots), L"a/c");
    EXPECT_EQ(edited(L"\\a\\b\\..", dots), L"\\a");
    EXPECT_EQ(edited(L"a\\...\\b\\.\\..x", dots), L"a\\...\\b\\.\\..x");

    EXPECT_TRUE(WIN.isRoot(L"C:\\"));
    EXPECT_TRUE(WIN.isRoot(L"\\"));
    EXPECT_FALSE(WIN.isRoot(L"C:\\a"));
    EXPECT_FALSE(WIN.isRoot(L""));
}

TEST(PathRulesPosix, slashesOnlyAndNoDrives)
{
    EXPECT_EQ(appended(POSIX, L"", "etc"), L"/etc");
    EXPECT_EQ(appended(POSIX, L"", "C:x"), L"/C:x");
    EXPECT_EQ(appended(POSIX, L"/", "etc"), L"/etc");
    EXPECT_EQ(appended(POSIX, L"/opt/t/", "//etc"), L"/opt/t/etc");

    EXPECT_EQ(POSIX.basename(L"a\\b"), L"a\\b");
    EXPECT_EQ(POSIX.basename(L"/a/b//"), L"b");
    EXPECT_EQ(POSIX.basename(L"/"), L"/");
    EXPECT_EQ(POSIX.dirname(L"/a"), L"/");
    EXPECT_EQ(POSIX.dirname(L"/a/b"), L"/a");
    EXPECT_EQ(POSIX.dirname(L"C:x"), L"");

    EXPECT_TRUE(POSIX.isAbsolute(L"/x"));
    EXPECT_FALSE(POSIX.isAbsolute(L"C:/x"));
    EXPECT_FALSE(POSIX.isAbsolute(L"\\x"));

    std::wstring p = L"//a//b";
    POSIX.collapseSeparators(p);
    EXPECT_EQ(p, L"/a/b");
    p = L"/a/b/../c";
    POSIX.resolveDotDot(p);
    EXPECT_EQ(p, L"/a/c");
    p = L"a\\..\\b";
    POSIX.resolveDotDot(p);
    EXPECT_EQ(p, L"a\\..\\b");
    p = L"///";
    POSIX.removeTrailingSeparators(p);
    EXPECT_EQ(p, L"/");
}

TEST(PathRules, wildcardNamesFollowTheCaseRule)
{
    EXPECT_TRUE(WIN.matchesName(L"*.LOG", L"app.log"));
    EXPECT_FALSE(POSIX.matchesName(L"*.LOG", L"app.log"));
    EXPECT_TRUE(POSIX.matchesName(L"a*b?c*", L"axxbycz"));
    EXPECT_TRUE(POSIX.matchesName(L"*", L""));
    EXPECT_FALSE(POSIX.matchesName(L"a*b", L"aXbX"));
    EXPECT_FALSE(POSIX.matchesName(L"?", L""));
}
