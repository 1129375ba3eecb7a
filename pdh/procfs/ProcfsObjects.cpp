#include "pdh/procfs/ProcfsObjects.h"

#include <algorithm>

namespace {

constexpr unsigned STAT = SOURCE_STAT;
constexpr unsigned MEM = SOURCE_MEMINFO;
constexpr unsigned VM = SOURCE_VMSTAT;
constexpr unsigned DISK = SOURCE_DISKS;
constexpr unsigned MOUNT = SOURCE_MOUNTS;
constexpr unsigned LDISK = SOURCE_MOUNTS | SOURCE_DISKS;
constexpr unsigned NET = SOURCE_NET;
constexpr unsigned PROC = SOURCE_PROCESSES;

const ProcfsCounterDef PROCESSOR[] = {
    {L"% Processor Time", true, STAT,
     L"Share of the interval the processor was not idle: 100 less the idle and I/O-wait time of /proc/stat."},
    {L"% User Time", true, STAT, L"Share of the interval spent in user mode, niced processes included (/proc/stat)."},
    {L"% Privileged Time", true, STAT,
     L"Share of the interval spent in the kernel: system, hardware and software interrupt time of /proc/stat."},
    {L"% Idle Time", true, STAT, L"Share of the interval the processor was idle, waiting for I/O included (/proc/stat)."},
    {L"% Interrupt Time", true, STAT, L"Share of the interval spent serving hardware interrupts (irq time of /proc/stat)."},
    {L"% DPC Time", true, STAT,
     L"Share of the interval spent in deferred interrupt work: the softirq time of /proc/stat."},
    {L"Interrupts/sec", true, STAT | SOURCE_INTERRUPTS,
     L"Interrupts per second the processor served, summed over the lines of /proc/interrupts."},
};

const ProcfsCounterDef MEMORY[] = {
    {L"Available Bytes", false, MEM,
     L"Memory available for starting new work without swapping: MemAvailable of /proc/meminfo, in bytes."},
    {L"Available KBytes", false, MEM, L"MemAvailable of /proc/meminfo, in kilobytes."},
    {L"Available MBytes", false, MEM, L"MemAvailable of /proc/meminfo, in megabytes."},
    {L"Committed Bytes", false, MEM,
     L"Virtual memory promised to processes: Committed_AS of /proc/meminfo, in bytes."},
    {L"Commit Limit", false, MEM,
     L"Memory that can be committed without growing swap: physical memory plus swap space (MemTotal + SwapTotal)."},
    {L"% Committed Bytes In Use", false, MEM, L"Committed Bytes as a share of Commit Limit."},
    {L"Cache Bytes", false, MEM,
     L"Memory holding file data and reclaimable kernel caches: Buffers + Cached + SReclaimable of /proc/meminfo."},
    {L"Page Faults/sec", true, VM, L"Page faults per second, minor and major (pgfault of /proc/vmstat)."},
    {L"Pages/sec", true, VM, L"Pages read from and written to swap space per second: Pages Input/sec + Pages Output/sec."},
    {L"Pages Input/sec", true, VM, L"Pages read in from swap space per second (pswpin of /proc/vmstat)."},
    {L"Pages Output/sec", true, VM, L"Pages written out to swap space per second (pswpout of /proc/vmstat)."},
    {L"Pool Nonpaged Bytes", false, MEM,
     L"Kernel memory that can't be reclaimed: the unreclaimable slab (SUnreclaim of /proc/meminfo), in bytes."},
};

#define DISK_RATES(S, WHAT)                                                                                          \
    {L"Disk Reads/sec", true, S, L"Read requests completed per second on " WHAT L" (/proc/diskstats)."},             \
        {L"Disk Writes/sec", true, S, L"Write requests completed per second on " WHAT L" (/proc/diskstats)."},       \
        {L"Disk Read Bytes/sec", true, S, L"Bytes read per second from " WHAT L" (/proc/diskstats)."},                \
        {L"Disk Write Bytes/sec", true, S, L"Bytes written per second to " WHAT L" (/proc/diskstats)."},              \
        {L"Disk Bytes/sec", true, S, L"Bytes read and written per second on " WHAT L" (/proc/diskstats)."},          \
        {L"Avg. Disk Queue Length", true, S,                                                                        \
         L"Average number of requests outstanding on " WHAT L" during the interval: weighted I/O time over elapsed time."}, \
        {L"% Disk Time", true, S,                                                                                   \
         L"Share of the interval " WHAT L" had requests in progress (I/O time of /proc/diskstats, as iostat's %util)."}, \
        {L"Current Disk Queue Length", false, S, L"Requests in progress on " WHAT L" at the sample (/proc/diskstats)."}

const ProcfsCounterDef LOGICAL_DISK[] = {
    {L"% Free Space", false, MOUNT,
     L"Space available to unprivileged users as a share of the file system's size (statvfs, as df reports)."},
    {L"Free Megabytes", false, MOUNT, L"Space available to unprivileged users, in megabytes (statvfs)."},
    DISK_RATES(LDISK, L"the device holding the file system"),
};

const ProcfsCounterDef PHYSICAL_DISK[] = {
    DISK_RATES(DISK, L"the disk"),
};

const ProcfsCounterDef NETWORK_INTERFACE[] = {
    {L"Bytes Received/sec", true, NET, L"Bytes received per second on the interface (/proc/net/dev)."},
    {L"Bytes Sent/sec", true, NET, L"Bytes sent per second on the interface (/proc/net/dev)."},
    {L"Bytes Total/sec", true, NET, L"Bytes received and sent per second on the interface (/proc/net/dev)."},
    {L"Packets Received/sec", true, NET, L"Packets received per second on the interface (/proc/net/dev)."},
    {L"Packets Sent/sec", true, NET, L"Packets sent per second on the interface (/proc/net/dev)."},
    {L"Packets/sec", true, NET, L"Packets received and sent per second on the interface (/proc/net/dev)."},
    {L"Current Bandwidth", false, NET | SOURCE_NET_SPEED,
     L"The link's speed in bits per second (/sys/class/net/<interface>/speed); 0 when the kernel knows none."},
    {L"Packets Received Errors", false, NET, L"Received packets with errors since the interface came up (/proc/net/dev)."},
    {L"Packets Outbound Errors", false, NET, L"Packets that could not be sent for errors (/proc/net/dev)."},
    {L"Packets Received Discarded", false, NET, L"Received packets dropped by the kernel (/proc/net/dev)."},
    {L"Packets Outbound Discarded", false, NET, L"Outbound packets dropped by the kernel (/proc/net/dev)."},
};

const ProcfsCounterDef PROCESS[] = {
    {L"% Processor Time", true, PROC,
     L"Share of one processor's time the process ran, user and kernel mode; up to 100 times the processors."},
    {L"% User Time", true, PROC, L"Share of one processor's time the process ran in user mode (/proc/<pid>/stat)."},
    {L"% Privileged Time", true, PROC, L"Share of one processor's time the process ran in the kernel (/proc/<pid>/stat)."},
    {L"ID Process", false, PROC, L"The process id."},
    {L"Creating Process ID", false, PROC, L"The id of the parent process."},
    {L"Elapsed Time", false, PROC, L"Seconds since the process started."},
    {L"Thread Count", false, PROC, L"Threads of the process (/proc/<pid>/stat)."},
    {L"Handle Count", false, PROC | SOURCE_PROC_FD, L"Open file descriptors of the process (/proc/<pid>/fd)."},
    {L"Working Set", false, PROC | SOURCE_PROC_STATUS, L"Resident memory of the process in bytes (VmRSS)."},
    {L"Working Set Peak", false, PROC | SOURCE_PROC_STATUS, L"Highest resident memory of the process in bytes (VmHWM)."},
    {L"Private Bytes", false, PROC | SOURCE_PROC_STATUS,
     L"Private writable memory of the process, data and stack, in bytes (VmData + VmStk)."},
    {L"Virtual Bytes", false, PROC, L"Size of the process's address space in bytes (/proc/<pid>/stat)."},
    {L"Page Faults/sec", true, PROC, L"Page faults of the process per second, minor and major."},
    {L"IO Read Bytes/sec", true, PROC | SOURCE_PROC_IO,
     L"Bytes the process read per second through read calls, files, pipes and sockets (rchar of /proc/<pid>/io)."},
    {L"IO Write Bytes/sec", true, PROC | SOURCE_PROC_IO,
     L"Bytes the process wrote per second through write calls (wchar of /proc/<pid>/io)."},
    {L"IO Read Operations/sec", true, PROC | SOURCE_PROC_IO, L"Read calls of the process per second (syscr)."},
    {L"IO Write Operations/sec", true, PROC | SOURCE_PROC_IO, L"Write calls of the process per second (syscw)."},
};

// The kernel keeps no count of system calls, so System Calls/sec isn't offered.
const ProcfsCounterDef SYSTEM[] = {
    {L"Processes", false, SOURCE_PID_COUNT, L"Processes in the system (entries of /proc)."},
    {L"Threads", false, SOURCE_LOADAVG, L"Threads in the system (/proc/loadavg)."},
    {L"System Up Time", false, 0, L"Seconds since the system started (/proc/uptime)."},
    {L"Context Switches/sec", true, STAT, L"Context switches per second on all processors (ctxt of /proc/stat)."},
    {L"Processor Queue Length", false, STAT,
     L"Runnable threads beyond one per processor: those waiting for a processor (procs_running of /proc/stat)."},
};

const ProcfsCounterDef PAGING_FILE[] = {
    {L"% Usage", false, SOURCE_SWAPS, L"Used share of the swap area (/proc/swaps)."},
    {L"% Usage Peak", false, SOURCE_SWAPS, L"Highest used share of the swap area seen since the query began."},
};

template <std::size_t N>
constexpr ProcfsObjectDef def(ProcfsObjectId id, const wchar_t* name, bool instances, bool total,
                              const ProcfsCounterDef (&counters)[N])
{
    return ProcfsObjectDef{id, name, instances, total, counters, N};
}

const ProcfsObjectDef OBJECTS[] = {
    def(ProcfsObjectId::Processor, L"Processor", true, true, PROCESSOR),
    def(ProcfsObjectId::Memory, L"Memory", false, false, MEMORY),
    def(ProcfsObjectId::LogicalDisk, L"LogicalDisk", true, true, LOGICAL_DISK),
    def(ProcfsObjectId::PhysicalDisk, L"PhysicalDisk", true, true, PHYSICAL_DISK),
    def(ProcfsObjectId::NetworkInterface, L"Network Interface", true, false, NETWORK_INTERFACE),
    def(ProcfsObjectId::Process, L"Process", true, true, PROCESS),
    def(ProcfsObjectId::System, L"System", false, false, SYSTEM),
    def(ProcfsObjectId::PagingFile, L"Paging File", true, true, PAGING_FILE),
};

using Result = ProcfsResult;

double per(std::uint64_t count, double seconds)
{
    return static_cast<double>(count) / seconds;
}

double percent(double part, double whole)
{
    return whole > 0 ? 100.0 * part / whole : 0.0;
}

// The seconds between two samples, or 0 if they can't tell.
double elapsed(const ProcfsSample& current, const ProcfsSample& previous)
{
    if (!current.uptimeOk || !previous.uptimeOk || current.uptime <= previous.uptime) {
        return 0;
    }
    return current.uptime - previous.uptime;
}

template <typename Entry>
const Entry* findNth(const ProcfsTable<Entry>& table, const std::string& name, unsigned index)
{
    if (!table.ok) {
        return nullptr;
    }
    unsigned seen = 0;
    for (const Entry& e : table) {
        if (procfsNameEquals(e.name, name) && seen++ == index) {
            return &e;
        }
    }
    return nullptr;
}

template <typename Entry>
const Entry* locate(const ProcfsTable<Entry>& table, const ProcfsInstanceRef& ref)
{
    if (ref.position != ProcfsInstanceRef::BY_NAME) {
        return table.ok && ref.position < table.count ? &table.entries[ref.position] : nullptr;
    }
    return findNth(table, ref.name, ref.index);
}

Result processorValue(std::size_t counter, const ProcfsCpu& cur, const ProcfsCpu& prev, double seconds,
                      const ProcfsSample& current, const ProcfsSample& previous, double& value)
{
    if (counter == 6) {
        if (!current.interruptsOk || !previous.interruptsOk || seconds <= 0) {
            return Result::Invalid;
        }
        value = per(procfsDelta(cur.interrupts, prev.interrupts), seconds);
        return Result::Ok;
    }
    double d[8];
    double total = 0;
    for (int i = 0; i < 8; ++i) {
        d[i] = static_cast<double>(procfsDelta(cur.times[i], prev.times[i]));
        total += d[i];
    }
    if (total <= 0) {
        return Result::Invalid;
    }
    const double idle = d[3] + d[4];
    const double parts[] = {total - idle, d[0] + d[1], d[2] + d[5] + d[6], idle, d[5], d[6]};
    value = percent(parts[counter], total);
    return Result::Ok;
}

// Disk counters from the "Disk Reads/sec" one on; a null previous for
// Current Disk Queue Length, which needs none.
Result diskValue(std::size_t counter, const ProcfsDisk& cur, const ProcfsDisk* prev, double seconds, double& value)
{
    if (counter == 7) {
        value = static_cast<double>(cur.inFlight);
        return Result::Ok;
    }
    if (prev == nullptr || seconds <= 0) {
        return Result::Invalid;
    }
    constexpr std::uint64_t SECTOR = 512;  // diskstats counts 512-byte sectors whatever the device
    const std::uint64_t readBytes = procfsDelta(cur.readSectors, prev->readSectors) * SECTOR;
    const std::uint64_t writeBytes = procfsDelta(cur.writeSectors, prev->writeSectors) * SECTOR;
    switch (counter) {
    case 0:
        value = per(procfsDelta(cur.reads, prev->reads), seconds);
        break;
    case 1:
        value = per(procfsDelta(cur.writes, prev->writes), seconds);
        break;
    case 2:
        value = per(readBytes, seconds);
        break;
    case 3:
        value = per(writeBytes, seconds);
        break;
    case 4:
        value = per(readBytes + writeBytes, seconds);
        break;
    case 5:
        value = per(procfsDelta(cur.weightedMs, prev->weightedMs), seconds * 1000);
        break;
    default:
        value = std::min(100.0, percent(static_cast<double>(procfsDelta(cur.busyMs, prev->busyMs)), seconds * 1000));
        break;
    }
    return Result::Ok;
}

// Sums a per-instance value over the instances that have one, or averages it.
template <typename Entry, typename Value>
Result totalOf(const ProcfsTable<Entry>& current, Value valueOf, bool mean, double& value)
{
    if (!current.ok) {
        return Result::Invalid;
    }
    double sum = 0;
    std::size_t n = 0;
    for (const Entry& e : current) {
        double v = 0;
        if (valueOf(e, v) == Result::Ok) {
            sum += v;
            ++n;
        }
    }
    value = mean && n > 0 ? sum / static_cast<double>(n) : sum;
    return Result::Ok;
}

// Which of the entries named as e is e: 0 for the first.
template <typename Entry>
unsigned indexOf(const ProcfsTable<Entry>& table, const Entry& e)
{
    return static_cast<unsigned>(
        std::count_if(table.begin(), &e, [&](const Entry& o) { return procfsNameEquals(o.name, e.name); }));
}

Result physicalDisk(std::size_t counter, const ProcfsInstanceRef& ref, const ProcfsSample& current,
                    const ProcfsSample& previous, double seconds, double& value)
{
    const auto valueOf = [&](const ProcfsDisk& d, double& v) {
        return diskValue(counter, d, findNth(previous.disks, d.name, indexOf(current.disks, d)), seconds, v);
    };
    if (ref.total) {
        return totalOf(current.disks, valueOf, counter == 6, value);
    }
    const ProcfsDisk* cur = locate(current.disks, ref);
    if (cur == nullptr) {
        return current.disks.ok ? Result::NoInstance : Result::Invalid;
    }
    return valueOf(*cur, value);
}

Result logicalDiskValue(std::size_t counter, const ProcfsMount& cur, const ProcfsMount* prev, double seconds,
                        double& value)
{
    constexpr double MEGABYTE = 1024.0 * 1024.0;
    if (counter < 2) {
        if (!cur.spaceOk) {
            return Result::Invalid;
        }
        value = counter == 0 ? percent(static_cast<double>(cur.available), static_cast<double>(cur.size))
                             : static_cast<double>(cur.available) / MEGABYTE;
        return Result::Ok;
    }
    if (!cur.ioOk || (prev != nullptr && !prev->ioOk)) {
        return Result::Invalid;
    }
    return diskValue(counter - 2, cur.io, prev == nullptr ? nullptr : &prev->io, seconds, value);
}

Result logicalDisk(std::size_t counter, const ProcfsInstanceRef& ref, const ProcfsSample& current,
                   const ProcfsSample& previous, double seconds, double& value)
{
    const auto valueOf = [&](const ProcfsMount& m, double& v) {
        return logicalDiskValue(counter, m, findNth(previous.mounts, m.name, indexOf(current.mounts, m)), seconds, v);
    };
    if (ref.total && counter == 0) {
        std::uint64_t size = 0, available = 0;
        for (const ProcfsMount& m : current.mounts) {
            size += m.spaceOk ? m.size : 0;
            available += m.spaceOk ? m.available : 0;
        }
        value = percent(static_cast<double>(available), static_cast<double>(size));
        return current.mounts.ok ? Result::Ok : Result::Invalid;
    }
    if (ref.total) {
        return totalOf(current.mounts, valueOf, counter == 8, value);
    }
    const ProcfsMount* cur = locate(current.mounts, ref);
    if (cur == nullptr) {
        return current.mounts.ok ? Result::NoInstance : Result::Invalid;
    }
    return valueOf(*cur, value);
}

Result networkInterface(std::size_t counter, const ProcfsInstanceRef& ref, const ProcfsSample& current,
                        const ProcfsSample& previous, double seconds, double& value)
{
    const ProcfsInterface* cur = locate(current.interfaces, ref);
    if (cur == nullptr) {
        return current.interfaces.ok ? Result::NoInstance : Result::Invalid;
    }
    const std::uint64_t raw[] = {cur->rxErrors, cur->txErrors, cur->rxDropped, cur->txDropped};
    if (counter == 6) {
        // Virtual interfaces have no speed to read: their bandwidth is unknown, 0.
        value = cur->speedOk ? cur->speedBits : 0.0;
        return Result::Ok;
    }
    if (counter > 6) {
        value = static_cast<double>(raw[counter - 7]);
        return Result::Ok;
    }
    const ProcfsInterface* prev = findNth(previous.interfaces, cur->name, indexOf(current.interfaces, *cur));
    if (prev == nullptr || seconds <= 0) {
        return Result::Invalid;
    }
    const std::uint64_t rxBytes = procfsDelta(cur->rxBytes, prev->rxBytes);
    const std::uint64_t txBytes = procfsDelta(cur->txBytes, prev->txBytes);
    const std::uint64_t rxPackets = procfsDelta(cur->rxPackets, prev->rxPackets);
    const std::uint64_t txPackets = procfsDelta(cur->txPackets, prev->txPackets);
    const std::uint64_t deltas[] = {rxBytes, txBytes, rxBytes + txBytes, rxPackets, txPackets, rxPackets + txPackets};
    value = per(deltas[counter], seconds);
    return Result::Ok;
}

const ProcfsProcess* findProcess(const ProcfsTable<ProcfsProcess>& table, const ProcfsProcess& p)
{
    const auto it = std::lower_bound(table.begin(), table.end(), p.pid,
                                     [](const ProcfsProcess& e, int pid) { return e.pid < pid; });
    // The same pid with another start time is another process.
    return it != table.end() && it->pid == p.pid && it->start == p.start ? it : nullptr;
}

Result processValue(std::size_t counter, const ProcfsProcess& cur, const ProcfsProcess* prev, double seconds,
                    const ProcfsSample& current, const ProcfsContext& context, double& value)
{
    const unsigned needs = PROCESS[counter].sources & (SOURCE_PROC_STATUS | SOURCE_PROC_IO | SOURCE_PROC_FD);
    if ((cur.read & needs) != needs) {
        return Result::Invalid;
    }
    constexpr double KILOBYTE = 1024.0;
    switch (counter) {
    case 3:
        value = cur.pid;
        return Result::Ok;
    case 4:
        value = cur.ppid;
        return Result::Ok;
    case 5:
        value = std::max(0.0, current.uptime - static_cast<double>(cur.start) / context.ticksPerSecond);
        return current.uptimeOk ? Result::Ok : Result::Invalid;
    case 6:
        value = static_cast<double>(cur.threads);
        return Result::Ok;
    case 7:
        value = static_cast<double>(cur.openFiles);
        return Result::Ok;
    case 8:
        value = static_cast<double>(cur.rssKb) * KILOBYTE;
        return Result::Ok;
    case 9:
        value = static_cast<double>(cur.hwmKb) * KILOBYTE;
        return Result::Ok;
    case 10:
        value = static_cast<double>(cur.dataKb + cur.stackKb) * KILOBYTE;
        return Result::Ok;
    case 11:
        value = static_cast<double>(cur.vsize);
        return Result::Ok;
    default:
        break;
    }
    if (prev == nullptr || (prev->read & needs) != needs || seconds <= 0) {
        return Result::Invalid;
    }
    const double ticks = seconds * context.ticksPerSecond;
    const std::uint64_t user = procfsDelta(cur.utime, prev->utime);
    const std::uint64_t system = procfsDelta(cur.stime, prev->stime);
    switch (counter) {
    case 0:
        value = percent(static_cast<double>(user + system), ticks);
        break;
    case 1:
        value = percent(static_cast<double>(user), ticks);
        break;
    case 2:
        value = percent(static_cast<double>(system), ticks);
        break;
    case 12:
        value = per(procfsDelta(cur.minflt + cur.majflt, prev->minflt + prev->majflt), seconds);
        break;
    case 13:
        value = per(procfsDelta(cur.rchar, prev->rchar), seconds);
        break;
    case 14:
        value = per(procfsDelta(cur.wchar, prev->wchar), seconds);
        break;
    case 15:
        value = per(procfsDelta(cur.syscr, prev->syscr), seconds);
        break;
    default:
        value = per(procfsDelta(cur.syscw, prev->syscw), seconds);
        break;
    }
    return Result::Ok;
}

Result process(std::size_t counter, const ProcfsInstanceRef& ref, const ProcfsSample& current,
               const ProcfsSample& previous, double seconds, const ProcfsContext& context, double& value)
{
    const auto valueOf = [&](const ProcfsProcess& p, double& v) {
        return processValue(counter, p, findProcess(previous.processes, p), seconds, current, context, v);
    };
    if (ref.total) {
        // The total of identities and ages means nothing: it is 0.
        if (counter >= 3 && counter <= 5) {
            value = 0;
            return current.processes.ok ? Result::Ok : Result::Invalid;
        }
        return totalOf(current.processes, valueOf, false, value);
    }
    const ProcfsProcess* cur = locate(current.processes, ref);
    if (cur == nullptr) {
        return current.processes.ok ? Result::NoInstance : Result::Invalid;
    }
    return valueOf(*cur, value);
}

Result processor(std::size_t counter, const ProcfsInstanceRef& ref, const ProcfsSample& current,
                 const ProcfsSample& previous, double seconds, double& value)
{
    if (!current.cpus.ok) {
        return Result::Invalid;
    }
    const ProcfsCpu* cur = ref.total ? &current.cpus.total : locate(current.cpus, ref);
    if (cur == nullptr) {
        return Result::NoInstance;
    }
    const ProcfsCpu* prev = ref.total ? (previous.cpus.ok ? &previous.cpus.total : nullptr)
                                      : findNth(previous.cpus, cur->name, 0);
    if (prev == nullptr) {
        return Result::Invalid;
    }
    return processorValue(counter, *cur, *prev, seconds, current, previous, value);
}

Result memory(std::size_t counter, const ProcfsSample& current, const ProcfsSample& previous, double seconds,
              double& value)
{
    constexpr double KILOBYTE = 1024.0;
    const ProcfsMemory& m = current.memory;
    if (!MEMORY[counter].rate) {
        const double kb[] = {
            static_cast<double>(m.availableKb) * KILOBYTE,
            static_cast<double>(m.availableKb),
            static_cast<double>(m.availableKb) / KILOBYTE,
            static_cast<double>(m.committedKb) * KILOBYTE,
            static_cast<double>(m.totalKb + m.swapTotalKb) * KILOBYTE,
            percent(static_cast<double>(m.committedKb), static_cast<double>(m.totalKb + m.swapTotalKb)),
            static_cast<double>(m.buffersKb + m.cachedKb + m.reclaimableKb) * KILOBYTE,
        };
        value = counter == 11 ? static_cast<double>(m.unreclaimableKb) * KILOBYTE : kb[counter];
        return current.memoryOk ? Result::Ok : Result::Invalid;
    }
    if (!current.vmOk || !previous.vmOk || seconds <= 0) {
        return Result::Invalid;
    }
    const ProcfsVm& a = current.vm;
    const ProcfsVm& b = previous.vm;
    const std::uint64_t in = procfsDelta(a.swapIn, b.swapIn);
    const std::uint64_t out = procfsDelta(a.swapOut, b.swapOut);
    const std::uint64_t deltas[] = {procfsDelta(a.faults, b.faults), in + out, in, out};
    value = per(deltas[counter - 7], seconds);
    return Result::Ok;
}

Result system(std::size_t counter, const ProcfsSample& current, const ProcfsSample& previous, double seconds,
              double& value)
{
    switch (counter) {
    case 0:
        value = static_cast<double>(current.pidCount);
        return current.pidCountOk ? Result::Ok : Result::Invalid;
    case 1:
        value = static_cast<double>(current.threads);
        return current.loadavgOk ? Result::Ok : Result::Invalid;
    case 2:
        value = current.uptime;
        return current.uptimeOk ? Result::Ok : Result::Invalid;
    case 3:
        if (!current.cpus.ok || !previous.cpus.ok || seconds <= 0) {
            return Result::Invalid;
        }
        value = per(procfsDelta(current.contextSwitches, previous.contextSwitches), seconds);
        return Result::Ok;
    default:
        value = current.procsRunning > current.cpus.count
                    ? static_cast<double>(current.procsRunning - current.cpus.count)
                    : 0.0;
        return current.cpus.ok ? Result::Ok : Result::Invalid;
    }
}

Result pagingFile(std::size_t counter, const ProcfsInstanceRef& ref, const ProcfsSample& current, double& value)
{
    if (!current.swaps.ok) {
        return Result::Invalid;
    }
    const ProcfsSwap* w = ref.total ? &current.swaps.total : locate(current.swaps, ref);
    if (w == nullptr) {
        return Result::NoInstance;
    }
    value = percent(static_cast<double>(counter == 0 ? w->usedKb : w->peakKb), static_cast<double>(w->sizeKb));
    return Result::Ok;
}

}  // namespace

const ProcfsObjectDef* procfsObjects(std::size_t& count)
{
    count = sizeof OBJECTS / sizeof OBJECTS[0];
    return OBJECTS;
}

bool procfsNameEquals(const std::string& a, const std::string& b)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

unsigned procfsInstanceSources(const ProcfsObjectDef& object)
{
    switch (object.id) {
    case ProcfsObjectId::Processor:
        return SOURCE_STAT;
    case ProcfsObjectId::LogicalDisk:
        return SOURCE_MOUNTS;
    case ProcfsObjectId::PhysicalDisk:
        return SOURCE_DISKS;
    case ProcfsObjectId::NetworkInterface:
        return SOURCE_NET;
    case ProcfsObjectId::Process:
        return SOURCE_PROCESSES;
    case ProcfsObjectId::PagingFile:
        return SOURCE_SWAPS;
    case ProcfsObjectId::Memory:
    case ProcfsObjectId::System:
        break;
    }
    return 0;
}

std::size_t procfsInstanceCount(const ProcfsObjectDef& object, const ProcfsSample& s)
{
    switch (object.id) {
    case ProcfsObjectId::Processor:
        return s.cpus.count;
    case ProcfsObjectId::LogicalDisk:
        return s.mounts.count;
    case ProcfsObjectId::PhysicalDisk:
        return s.disks.count;
    case ProcfsObjectId::NetworkInterface:
        return s.interfaces.count;
    case ProcfsObjectId::Process:
        return s.processes.count;
    case ProcfsObjectId::PagingFile:
        return s.swaps.count;
    case ProcfsObjectId::Memory:
    case ProcfsObjectId::System:
        break;
    }
    return 0;
}

const std::string& procfsInstanceName(const ProcfsObjectDef& object, const ProcfsSample& s, std::size_t i)
{
    switch (object.id) {
    case ProcfsObjectId::Processor:
        return s.cpus.entries[i].name;
    case ProcfsObjectId::LogicalDisk:
        return s.mounts.entries[i].name;
    case ProcfsObjectId::PhysicalDisk:
        return s.disks.entries[i].name;
    case ProcfsObjectId::NetworkInterface:
        return s.interfaces.entries[i].name;
    case ProcfsObjectId::Process:
        return s.processes.entries[i].name;
    case ProcfsObjectId::PagingFile:
    case ProcfsObjectId::Memory:
    case ProcfsObjectId::System:
        break;
    }
    return s.swaps.entries[i].name;
}

ProcfsResult procfsValue(const ProcfsObjectDef& object, std::size_t counter, const ProcfsInstanceRef& instance,
                         const ProcfsSample& current, const ProcfsSample& previous, const ProcfsContext& context,
                         double& value)
{
    value = 0;
    const double seconds = elapsed(current, previous);
    switch (object.id) {
    case ProcfsObjectId::Processor:
        // Shares of time take the processor's own ticks as their base.
        return processor(counter, instance, current, previous, seconds, value);
    case ProcfsObjectId::Memory:
        return memory(counter, current, previous, seconds, value);
    case ProcfsObjectId::LogicalDisk:
        return logicalDisk(counter, instance, current, previous, seconds, value);
    case ProcfsObjectId::PhysicalDisk:
        return physicalDisk(counter, instance, current, previous, seconds, value);
    case ProcfsObjectId::NetworkInterface:
        return networkInterface(counter, instance, current, previous, seconds, value);
    case ProcfsObjectId::Process:
        return process(counter, instance, current, previous, seconds, context, value);
    case ProcfsObjectId::System:
        return system(counter, current, previous, seconds, value);
    case ProcfsObjectId::PagingFile:
        return pagingFile(counter, instance, current, value);
    }
    return Result::Invalid;
}
