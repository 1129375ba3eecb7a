#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdh/procfs/ProcfsReader.h"

// The sources a query may need, as bits: each is read at most once a collect.
enum ProcfsSource : unsigned {
    SOURCE_STAT = 1u << 0,        // /proc/stat
    SOURCE_INTERRUPTS = 1u << 1,  // /proc/interrupts
    SOURCE_MEMINFO = 1u << 2,     // /proc/meminfo
    SOURCE_VMSTAT = 1u << 3,      // /proc/vmstat
    SOURCE_LOADAVG = 1u << 4,     // /proc/loadavg
    SOURCE_DISKS = 1u << 5,       // /proc/diskstats and /sys/block
    SOURCE_MOUNTS = 1u << 6,      // /proc/self/mountinfo and the file systems' space
    SOURCE_NET = 1u << 7,         // /proc/net/dev
    SOURCE_NET_SPEED = 1u << 8,   // /sys/class/net/<interface>/speed
    SOURCE_SWAPS = 1u << 9,       // /proc/swaps
    SOURCE_PROCESSES = 1u << 10,  // the listing of /proc and each /proc/<pid>/stat
    SOURCE_PID_COUNT = 1u << 11,  // the listing of /proc alone
    SOURCE_PROC_STATUS = 1u << 12,  // /proc/<pid>/status
    SOURCE_PROC_IO = 1u << 13,      // /proc/<pid>/io
    SOURCE_PROC_FD = 1u << 14,      // /proc/<pid>/fd
};

// Rows of one object: entries [0, count) are valid; the vector keeps the rest
// so that their strings keep their capacity from one sample to the next.
inline constexpr std::size_t NAME_ROOM = 48;

template <typename Entry>
struct ProcfsTable {
    bool ok = false;
    std::size_t count = 0;
    std::vector<Entry> entries;
    Entry total;

    Entry& add()
    {
        if (count == entries.size()) {
            // Room for most names (kernel threads' run past the 15 characters
            // of a command), so that names moving between rows as processes
            // come and go seldom reallocate.
            entries.emplace_back().name.reserve(NAME_ROOM);
        }
        // Reused, not rebuilt: the name keeps its room from earlier samples.
        Entry& e = entries[count++];
        e = Entry();
        return e;
    }
    const Entry* begin() const { return entries.data(); }
    const Entry* end() const { return entries.data() + count; }
};

struct ProcfsCpu {
    std::string name;
    // user, nice, system, idle, iowait, irq, softirq, steal: clock ticks
    std::uint64_t times[8] = {};
    std::uint64_t interrupts = 0;
};

struct ProcfsDisk {
    std::string name;
    unsigned major = 0, minor = 0;
    std::uint64_t reads = 0, readSectors = 0, writes = 0, writeSectors = 0;
    std::uint64_t inFlight = 0, busyMs = 0, weightedMs = 0;
};

struct ProcfsMount {
    std::string name;  // the mount point
    unsigned major = 0, minor = 0;
    bool spaceOk = false;
    std::uint64_t size = 0, available = 0;
    bool ioOk = false;
    ProcfsDisk io;  // the device's statistics
};

struct ProcfsInterface {
    std::string name;
    std::uint64_t rxBytes = 0, rxPackets = 0, rxErrors = 0, rxDropped = 0;
    std::uint64_t txBytes = 0, txPackets = 0, txErrors = 0, txDropped = 0;
    bool speedOk = false;
    double speedBits = 0;
};

struct ProcfsSwap {
    std::string name;
    std::uint64_t sizeKb = 0, usedKb = 0, peakKb = 0;
};

struct ProcfsProcess {
    std::string name;
    int pid = 0, ppid = 0;
    std::uint64_t start = 0;  // clock ticks after boot
    std::uint64_t utime = 0, stime = 0, minflt = 0, majflt = 0, threads = 0, vsize = 0;
    unsigned need = 0;  // the per-process sources the query wants of it
    unsigned read = 0;  // those that could be read
    std::uint64_t rssKb = 0, hwmKb = 0, dataKb = 0, stackKb = 0;
    std::uint64_t rchar = 0, wchar = 0, syscr = 0, syscw = 0;
    std::uint64_t openFiles = 0;
};

struct ProcfsMemory {
    std::uint64_t totalKb = 0, availableKb = 0, committedKb = 0, swapTotalKb = 0;
    std::uint64_t buffersKb = 0, cachedKb = 0, reclaimableKb = 0, unreclaimableKb = 0;
};

struct ProcfsVm {
    std::uint64_t faults = 0, majorFaults = 0, swapIn = 0, swapOut = 0;
};

// One reading of everything a query needs.
struct ProcfsSample {
    unsigned sources = 0;  // what was asked for
    bool uptimeOk = false;
    double uptime = 0;  // seconds since boot
    ProcfsTable<ProcfsCpu> cpus;
    bool interruptsOk = false;
    std::uint64_t contextSwitches = 0, procsRunning = 0;
    bool memoryOk = false;
    ProcfsMemory memory;
    bool vmOk = false;
    ProcfsVm vm;
    bool loadavgOk = false;
    std::uint64_t threads = 0;
    bool pidCountOk = false;
    std::uint64_t pidCount = 0;
    ProcfsTable<ProcfsDisk> diskstats;  // every device
    ProcfsTable<ProcfsDisk> disks;      // whole, real disks
    ProcfsTable<ProcfsMount> mounts;
    ProcfsTable<ProcfsInterface> interfaces;
    ProcfsTable<ProcfsSwap> swaps;
    ProcfsTable<ProcfsProcess> processes;  // ascending pid
};

// Fills samples from a reader. A source that can't be read leaves its ok flag
// false; a process whose stat can't be read is left out, as one that is gone.
class ProcfsSampler {
public:
    explicit ProcfsSampler(const std::string& root) : reader(root) {}

    // Reads the system-wide sources of sample.sources; previous carries the
    // swap peaks forward.
    void readSystem(ProcfsSample& sample, const ProcfsSample& previous);
    // Lists the processes and reads each stat.
    void readProcesses(ProcfsSample& sample);
    // Lists the processes with their names only, from the kernel's cheaper
    // comm files: enough for a listing of instances.
    void listProcesses(ProcfsSample& sample);
    // Reads what process.need asks beyond stat.
    void readProcessDetails(ProcfsProcess& process);
    // Closes the files held open for later samples.
    void release() { reader.release(); }

private:
    void readStat(ProcfsSample& s);
    void readInterrupts(ProcfsSample& s);
    void readDisks(ProcfsSample& s);
    void readMounts(ProcfsSample& s);
    void readInterfaces(ProcfsSample& s);
    void readSwaps(ProcfsSample& s, const ProcfsSample& previous);

    ProcfsReader reader;
    std::vector<int> pids;
    std::vector<std::string> names;
    std::vector<std::uint64_t> columns;
    std::vector<std::size_t> columnCpu;
    std::string path;
};

// The difference of two readings of a counter that only grows, allowing for
// one wrap of a 32- or 64-bit count.
std::uint64_t procfsDelta(std::uint64_t current, std::uint64_t previous);
