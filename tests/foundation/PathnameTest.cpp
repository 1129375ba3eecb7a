#include "foundation/Pathname.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "foundation/FileOperations.h"
#include "foundation/UnicodeStream.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"

namespace fs = std::filesystem;

namespace {

void writeText(const Pathname& path, const std::string& text)
{
    std::ofstream out(fs::path(static_cast<const std::wstring&>(path)), std::ios::binary | std::ios::trunc);
    out << text;
}

std::string readText(const Pathname& path)
{
    std::ifstream in(fs::path(static_cast<const std::wstring&>(path)), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A fresh directory under the system's temporary directory per test.
class PathnameFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir = Pathname(fs::temp_directory_path().wstring()) / ("pathname-test-" + std::to_string(random()));
        ASSERT_TRUE(dir.makeDirectories());
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(fs::path(static_cast<const std::wstring&>(dir)), ignored);
    }

    std::vector<std::wstring> names() const
    {
        std::vector<std::wstring> out;
        for (const auto& e : fs::directory_iterator(fs::path(static_cast<const std::wstring&>(dir))))
            out.push_back(e.path().filename().wstring());
        std::sort(out.begin(), out.end());
        return out;
    }

    Pathname dir;
};

// Fails chosen calls with chosen errors and passes the rest to the file system.
class ScriptedOperations : public FileOperations {
public:
    int renameFailures = 0;
    platform::OsErrorCode renameError = 0;
    int createFailures = 0;
    bool copyFailsHalfway = false;
    std::vector<uint32_t> sleeps;
    int renames = 0;
    int creates = 0;

    bool rename(const Pathname& from, const Pathname& to) override
    {
        ++renames;
        if (renameFailures > 0) {
            --renameFailures;
            platform::setLastOsError(renameError);
            return false;
        }
        return FileOperations::rename(from, to);
    }
    bool copy(const Pathname& from, const Pathname& to) override
    {
        if (!copyFailsHalfway)
            return FileOperations::copy(from, to);
        std::string text = readText(from);
        writeText(to, text.substr(0, text.size() / 2));
        platform::setLastOsError(platform::FILE_ERROR_SHARING_VIOLATION);
        return false;
    }
    bool createExclusive(const Pathname& path) override
    {
        ++creates;
        if (createFailures > 0) {
            --createFailures;
            return false;
        }
        return FileOperations::createExclusive(path);
    }
    void sleep(uint32_t ms) override { sleeps.push_back(ms); }
};

} // namespace

TEST(Pathname, joinsWithTheNativeRules)
{
    Pathname home = Pathname() / "opt" / "tolvik";
    EXPECT_TRUE(home.isAbsolute());
    Pathname file = home / "etc" / "log.cfg";
    EXPECT_EQ(file.basename().toUtf8(), "log.cfg");
    EXPECT_EQ(file.dirname().dirname(), home);
    EXPECT_EQ(home.basename().toUtf8(), "tolvik") << "the receiver of / stays unchanged";
}

TEST_F(PathnameFiles, kindsAndDirectories)
{
    Pathname file = dir / "f.txt";
    writeText(file, "x");
    EXPECT_EQ(file.kind(), 1);
    EXPECT_EQ(dir.kind(), 2);
    EXPECT_FALSE((dir / "missing").exists());

    Pathname deep = dir / "a" / "b" / "c";
    EXPECT_TRUE(deep.makeDirectories());
    EXPECT_EQ(deep.kind(), 2);
    EXPECT_TRUE(deep.makeDirectories()) << "an existing directory is fine";
    EXPECT_TRUE(Pathname().makeDirectories());
    EXPECT_FALSE((file / "sub").makeDirectories()) << "a file stands in the way";

    uint64_t bytes = 0;
    EXPECT_TRUE(dir.freeSpace(bytes));
    EXPECT_GT(bytes, 0u);
}

TEST_F(PathnameFiles, renameRetriesWhileTheErrorMayPass)
{
    Pathname from = dir / "from", to = dir / "to";
    writeText(from, "payload");
    ScriptedOperations ops;
    ops.renameFailures = 2;
    ops.renameError = platform::FILE_ERROR_SHARING_VIOLATION;

    RetryReport r = from.renameWithRetry(to, 5, 7, ops);
    EXPECT_TRUE(r.succeeded);
    EXPECT_EQ(r.operation, "Rename");
    EXPECT_EQ(r.attempts, 3u);
    EXPECT_EQ(ops.sleeps, (std::vector<uint32_t> {7, 7}));
    EXPECT_LE(r.first, r.last);
    EXPECT_EQ(readText(to), "payload");
    EXPECT_FALSE(from.exists());
    EXPECT_EQ(r.toString().find("Rename succeeded in 3 attempt(s) made between "), 0u) << r.toString();
    EXPECT_EQ(r.toString().find("[status code"), std::string::npos);
}

TEST_F(PathnameFiles, renameGivesUpWhenAttemptsRunOutOrTheErrorStays)
{
    Pathname from = dir / "from", to = dir / "to";
    writeText(from, "payload");

    ScriptedOperations busy;
    busy.renameFailures = 100;
    busy.renameError = platform::FILE_ERROR_SHARING_VIOLATION;
    RetryReport r = from.renameWithRetry(to, 4, 1, busy);
    EXPECT_FALSE(r.succeeded);
    EXPECT_EQ(r.attempts, 4u);
    EXPECT_EQ(busy.sleeps.size(), 3u);
    EXPECT_EQ(r.status, platform::FILE_ERROR_SHARING_VIOLATION);
    EXPECT_EQ(platform::lastOsError(), r.status);
    Str text = r.toString();
    EXPECT_EQ(text.find("Rename failed in 4 attempt(s) made between "), 0u) << text;
    EXPECT_NE(text.find(" and "), std::string::npos);
    EXPECT_TRUE(text.ends_with(" [status code: " + std::to_string(r.status) + "]")) << text;

    ScriptedOperations once;
    once.renameFailures = 100;
    once.renameError = platform::FILE_ERROR_SHARING_VIOLATION;
    r = from.renameWithRetry(to, 1, 1000, once);
    EXPECT_EQ(r.attempts, 1u);
    EXPECT_TRUE(once.sleeps.empty()) << "one attempt means no sleep";

    // A missing source is no passing obstacle: one real attempt.
    ScriptedOperations real;
    r = (dir / "missing").renameWithRetry(to, 5, 1000, real);
    EXPECT_FALSE(r.succeeded);
    EXPECT_EQ(r.attempts, 1u);
    EXPECT_NE(r.status, 0u);
    EXPECT_FALSE(platform::isTransientFileError(r.status));
    EXPECT_TRUE(real.sleeps.empty());
}

TEST_F(PathnameFiles, moveAcrossVolumesCopiesThroughATemporaryFile)
{
    Pathname from = dir / "from", to = dir / "to";
    writeText(from, "new content");
    writeText(to, "old content");
    ScriptedOperations ops;
    ops.renameFailures = 1;
    ops.renameError = platform::FILE_ERROR_CROSS_DEVICE;
    ops.createFailures = 2; // name clashes
    EXPECT_TRUE(from.moveAcrossVolumes(to, ops));
    EXPECT_EQ(readText(to), "new content");
    EXPECT_EQ(ops.creates, 3);
    EXPECT_EQ(names(), (std::vector<std::wstring> {L"from", L"to"})) << "no temporary file left";
}

TEST_F(PathnameFiles, moveAcrossVolumesNeverLeavesAHalfWrittenTarget)
{
    Pathname from = dir / "from", to = dir / "to";
    writeText(from, "new content that is long");
    writeText(to, "old content");

    ScriptedOperations failingCopy;
    failingCopy.renameFailures = 1;
    failingCopy.renameError = platform::FILE_ERROR_CROSS_DEVICE;
    failingCopy.copyFailsHalfway = true;
    EXPECT_FALSE(from.moveAcrossVolumes(to, failingCopy));
    EXPECT_EQ(platform::lastOsError(), platform::FILE_ERROR_SHARING_VIOLATION) << "the copy's error survives clean-up";
    EXPECT_EQ(readText(to), "old content");
    EXPECT_EQ(readText(from), "new content that is long");
    EXPECT_EQ(names(), (std::vector<std::wstring> {L"from", L"to"}));

    ScriptedOperations noName;
    noName.renameFailures = 1;
    noName.renameError = platform::FILE_ERROR_CROSS_DEVICE;
    noName.createFailures = 5;
    EXPECT_FALSE(from.moveAcrossVolumes(to, noName));
    EXPECT_EQ(noName.creates, 5);

    ScriptedOperations otherError;
    otherError.renameFailures = 1;
    otherError.renameError = platform::FILE_ERROR_SHARING_VIOLATION;
    EXPECT_FALSE(from.moveAcrossVolumes(to, otherError));
    EXPECT_EQ(otherError.creates, 0);
    EXPECT_EQ(readText(to), "old content");

    EXPECT_FALSE((dir / "missing").moveAcrossVolumes(to, otherError));
}

TEST_F(PathnameFiles, copyOntoItselfKeepsTheFile)
{
    Pathname file = dir / "data";
    writeText(file, "keep me");
    EXPECT_TRUE(file.copyTo(file));
    // Another spelling of the same file is caught too.
    EXPECT_TRUE(file.copyTo(dir / "." / "data"));
    EXPECT_EQ(readText(file), "keep me");

    Pathname other = dir / "other";
    writeText(other, "a much longer old text");
    EXPECT_TRUE(file.copyTo(other));
    EXPECT_EQ(readText(other), "keep me");
    EXPECT_TRUE(file.copyTo(dir / "fresh"));
    EXPECT_EQ(readText(dir / "fresh"), "keep me");
    EXPECT_FALSE((dir / "missing").copyTo(other));
}

TEST_F(PathnameFiles, removeTreeAndContents)
{
    Pathname tree = dir / "tree";
    ASSERT_TRUE((tree / "a" / "b").makeDirectories());
    writeText(tree / "top.txt", "1");
    writeText(tree / "a" / "b" / "deep.txt", "2");
    Pathname readOnly = tree / "a" / "ro.txt";
    writeText(readOnly, "3");
    fs::permissions(fs::path(static_cast<const std::wstring&>(readOnly)), fs::perms::owner_read | fs::perms::group_read);

    // A link inside the tree goes, what it points at stays.
    Pathname outside = dir / "outside";
    ASSERT_TRUE(outside.makeDirectories());
    writeText(outside / "precious", "4");
    std::error_code linkError;
    fs::create_directory_symlink(fs::path(static_cast<const std::wstring&>(outside)),
                                 fs::path(static_cast<const std::wstring&>(tree / "link")), linkError);

    EXPECT_TRUE(tree.removeTree());
    EXPECT_FALSE(tree.exists());
    EXPECT_EQ(readText(outside / "precious"), "4");
    EXPECT_FALSE((dir / "missing").removeTree());

    Pathname box = dir / "box";
    ASSERT_TRUE((box / "sub.tmp").makeDirectories());
    writeText(box / "x.tmp", "");
    writeText(box / "keep.txt", "");
    EXPECT_TRUE(box.removeContents(L"*.tmp"));
    EXPECT_FALSE((box / "x.tmp").exists());
    EXPECT_FALSE((box / "sub.tmp").exists());
    EXPECT_TRUE((box / "keep.txt").exists());
    EXPECT_TRUE(box.removeContents());
    EXPECT_TRUE(box.exists());
    EXPECT_FALSE((box / "keep.txt").exists());
}

TEST_F(PathnameFiles, byteStreamsCarryEveryByteAcrossTheirBlocks)
{
    std::string bytes;
    for (int i = 0; i < 1300; ++i)
        bytes += static_cast<char>(i * 7);
    Pathname file = dir / "stream.bin";
    std::FILE* out = file.openFile("wb");
    ASSERT_NE(out, nullptr);
    {
        WritableUnicodeFileStar writer(out);
        for (char c : bytes)
            ASSERT_TRUE(writer.writeByte(static_cast<uint8_t>(c)));
    } // the tail goes out here
    std::fclose(out);
    EXPECT_EQ(readText(file), bytes);

    std::FILE* in = file.openFile("rb");
    ASSERT_NE(in, nullptr);
    ReadableUnicodeFileStar reader(in);
    std::string back;
    for (int b; (b = reader.readByte()) != -1;)
        back += static_cast<char>(b);
    EXPECT_EQ(reader.readByte(), -1);
    std::fclose(in);
    EXPECT_EQ(back, bytes);
    EXPECT_EQ((dir / "missing").openFile("rb"), nullptr);
}

TEST(PathnameCommandLine, quotesAndSplitsBack)
{
    EXPECT_EQ(Pathname(L"C:\\plain\\path").quoteForCommandLine(), L"C:\\plain\\path");
    EXPECT_EQ(Pathname(L"C:\\Program Files\\x").quoteForCommandLine(), L"\"C:\\Program Files\\x\"");
    EXPECT_EQ(Pathname(L"a \"b\"").quoteForCommandLine(), L"\"a \\\"b\\\"\"");
    EXPECT_EQ(Pathname(L"dir with\\").quoteForCommandLine(), L"\"dir with\\\\\"");
    EXPECT_EQ(Pathname(L"x\\\" y").quoteForCommandLine(), L"\"x\\\\\\\" y\"");

    for (const wchar_t* text : {L"C:\\Program Files\\x", L"a \"b\" c", L"dir with\\", L"x\\\" y", L"tab\there",
                                L"back\\\\slashes only\\\\"}) {
        Pathname line = Pathname(text).quoteForCommandLine() + L"  next";
        std::wstring word, rest;
        ASSERT_TRUE(line.nextArgument(word, rest)) << line.toUtf8();
        EXPECT_EQ(word, text);
        EXPECT_EQ(rest, L"  next");
    }

    std::wstring word, rest;
    EXPECT_TRUE(Pathname(L"  \r\n one two").nextArgument(word, rest));
    EXPECT_EQ(word, L"one");
    EXPECT_EQ(rest, L" two");
    EXPECT_TRUE(Pathname(L"a\\\\b").nextArgument(word, rest));
    EXPECT_EQ(word, L"a\\\\b") << "backslashes not before a quote stay";
    EXPECT_FALSE(Pathname(L"\"unclosed").nextArgument(word, rest));
    EXPECT_FALSE(Pathname(L"\"\" x").nextArgument(word, rest));
    EXPECT_FALSE(Pathname(L" \t ").nextArgument(word, rest));
}
