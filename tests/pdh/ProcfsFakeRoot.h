#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "pdh/procfs/ProcfsPdhProvider.h"

namespace fs = std::filesystem;

// A /proc and /sys tree in a temporary directory.
class FakeRoot {
public:
    FakeRoot()
    {
        std::random_device random;
        dir = fs::temp_directory_path() / ("procfs-test-" + std::to_string(random()));
        fs::create_directories(dir);
        write("/proc/uptime", "100.00 150.00\n");
    }
    ~FakeRoot() { fs::remove_all(dir); }

    void write(const std::string& path, const std::string& text) const
    {
        const fs::path file = dir / path.substr(1);
        fs::remove_all(file);
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }
    void remove(const std::string& path) const { fs::remove_all(dir / path.substr(1)); }
    // A directory where a file should be: opens, but can't be read, as a file
    // without permission would be to a user who isn't root.
    void makeUnreadable(const std::string& path) const
    {
        remove(path);
        fs::create_directories(dir / path.substr(1));
    }
    void uptime(double seconds) const { write("/proc/uptime", std::to_string(seconds) + " 0.00\n"); }

    // One process: stat, status, io and an fd directory with files open.
    void process(int pid, const std::string& name, int ppid, std::uint64_t start, std::uint64_t utime,
                 std::uint64_t stime, std::uint64_t minflt = 50, std::uint64_t rchar = 0, int files = 0) const
    {
        const std::string base = "/proc/" + std::to_string(pid);
        write(base + "/stat", std::to_string(pid) + " (" + name + ") S " + std::to_string(ppid) +
                                  " 1 1 0 -1 4194560 " + std::to_string(minflt) + " 0 7 0 " + std::to_string(utime) + " " +
                                  std::to_string(stime) + " 0 0 20 -5 3 0 " + std::to_string(start) +
                                  " 8192000 25 18446744073709551615\n");
        write(base + "/comm", name + "\n");
        write(base + "/status", "Name:\t" + name + "\nVmPeak:\t 9000 kB\nVmSize:\t 8000 kB\nVmHWM:\t 200 kB\nVmRSS:\t 100 kB\nVmData:\t 300 kB\nVmStk:\t 20 kB\nThreads:\t3\n");
        write(base + "/io", "rchar: " + std::to_string(rchar) + "\nwchar: 2000\nsyscr: 10\nsyscw: 20\n"
                            "read_bytes: 0\nwrite_bytes: 0\ncancelled_write_bytes: 0\n");
        fs::create_directories(dir / base.substr(1) / "fd");
        for (int i = 0; i < files; ++i) {
            write(base + "/fd/" + std::to_string(i), "");
        }
    }

    // A provider's options for this tree: 100 ticks a second, machine "testhost".
    ProcfsPdhProvider::Options options() const
    {
        ProcfsPdhProvider::Options o;
        o.root = dir.string();
        o.ticksPerSecond = 100;
        o.machine = L"testhost";
        return o;
    }

    fs::path dir;
};
