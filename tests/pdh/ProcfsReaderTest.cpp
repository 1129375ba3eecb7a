#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include "pdh/procfs/ProcfsReader.h"

namespace {

// The thread count of a /proc/<pid>/stat text (its 20th field).
long threadsOf(std::string_view stat)
{
    ProcfsScanner in(stat.substr(stat.rfind(')') + 1));
    in.skipWords(17);
    std::uint64_t n = 0;
    return in.number(n) ? static_cast<long>(n) : -1;
}

TEST(ProcfsReader, HeldFilesOfTheLiveSystemAreReadAfresh)
{
    ProcfsReader reader("/");
    const int self = static_cast<int>(::getpid());
    std::string_view text;
    ASSERT_TRUE(reader.readPid(self, "stat", text));
    const long threads = threadsOf(text);
    ASSERT_GT(threads, 0);
    EXPECT_EQ(1u, reader.heldFiles());

    std::promise<void> done;
    std::thread other([&] { done.get_future().wait(); });
    ASSERT_TRUE(reader.readPid(self, "stat", text));
    EXPECT_EQ(threads + 1, threadsOf(text));
    done.set_value();
    other.join();
    ASSERT_TRUE(reader.readPid(self, "stat", text));
    EXPECT_EQ(threads, threadsOf(text));
    EXPECT_EQ(1u, reader.heldFiles());

    // The held directory is itself one of the files it counts, from the first call on.
    const long before = reader.countOpenFiles(self);
    ASSERT_GT(before, 0);
    EXPECT_EQ(before, reader.countOpenFiles(self));
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(before + 1, reader.countOpenFiles(self));
    ::close(fd);
    EXPECT_EQ(before, reader.countOpenFiles(self));

    // System-wide files are held too, and read whole however long they are.
    std::string_view mounts;
    ASSERT_TRUE(reader.read("/proc/self/mountinfo", mounts));
    std::ifstream in("/proc/self/mountinfo");
    const std::string whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(whole, std::string(mounts));
    EXPECT_EQ(3u, reader.heldFiles());

    reader.release();
    EXPECT_EQ(0u, reader.heldFiles());
    ASSERT_TRUE(reader.readPid(self, "stat", text));
    EXPECT_EQ(threads, threadsOf(text));
}

TEST(ProcfsReader, FilesOfAGoneProcessAreLetGo)
{
    ProcfsReader reader("/");
    std::vector<int> pids;
    ASSERT_TRUE(reader.listPids(pids));
    const std::size_t heldBefore = reader.heldFiles();  // /proc itself

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::pause();
        ::_exit(0);
    }
    ASSERT_TRUE(reader.listPids(pids));
    EXPECT_TRUE(std::binary_search(pids.begin(), pids.end(), static_cast<int>(child)));
    std::string_view text;
    EXPECT_TRUE(reader.readPid(child, "stat", text));
    EXPECT_TRUE(reader.readPid(child, "status", text));
    EXPECT_GE(reader.countOpenFiles(child), 0);
    EXPECT_EQ(heldBefore + 3, reader.heldFiles());

    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_FALSE(reader.readPid(child, "stat", text));
    EXPECT_EQ(-1, reader.countOpenFiles(child));
    EXPECT_FALSE(reader.readPid(child, "status", text));
    // A failed read lets its own file go; the listing lets go of the rest.
    ASSERT_TRUE(reader.listPids(pids));
    EXPECT_FALSE(std::binary_search(pids.begin(), pids.end(), static_cast<int>(child)));
    EXPECT_EQ(heldBefore, reader.heldFiles());
}

TEST(ProcfsReader, FilesUnderATestRootAreOpenedEachTime)
{
    const std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("procfs-reader-" + std::to_string(::getpid()));
    std::filesystem::create_directories(root / "proc" / "7" / "fd");
    const auto write = [](const std::filesystem::path& p, const std::string& text) {
        std::ofstream(p, std::ios::binary | std::ios::trunc) << text;
    };
    write(root / "proc" / "7" / "stat", "");
    write(root / "proc" / "7" / "fd" / "0", "");
    ProcfsReader reader(root.string());
    std::string_view text;
    ASSERT_TRUE(reader.readPid(7, "stat", text));
    EXPECT_EQ("", text);
    // Replaced under a new inode, as tests do: a held file would miss it.
    write(root / "proc" / "7" / "stat.new", "7 (x) S 1");
    std::filesystem::rename(root / "proc" / "7" / "stat.new", root / "proc" / "7" / "stat");
    ASSERT_TRUE(reader.readPid(7, "stat", text));
    EXPECT_EQ("7 (x) S 1", text);
    EXPECT_EQ(1, reader.countOpenFiles(7));
    write(root / "proc" / "7" / "fd" / "1", "");
    EXPECT_EQ(2, reader.countOpenFiles(7));
    std::vector<int> pids;
    ASSERT_TRUE(reader.listPids(pids));
    EXPECT_EQ(std::vector<int>{7}, pids);
    EXPECT_EQ(0u, reader.heldFiles());
    std::filesystem::remove_all(root);
}

}  // namespace
