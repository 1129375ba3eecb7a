#include "pdh/procfs/ProcfsSample.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

bool startsWith(std::string_view s, std::string_view prefix)
{
    return s.substr(0, prefix.size()) == prefix;
}

// Mount points and swap file names escape blanks and backslashes as \ooo.
void unescapeOctal(std::string_view in, std::string& out)
{
    out.clear();
    for (std::size_t i = 0; i < in.size(); ++i) {
        if (in[i] == '\\' && i + 3 < in.size() && in[i + 1] >= '0' && in[i + 1] <= '3') {
            out.push_back(static_cast<char>((in[i + 1] - '0') * 64 + (in[i + 2] - '0') * 8 + (in[i + 3] - '0')));
            i += 3;
        } else {
            out.push_back(in[i]);
        }
    }
}

bool parseDeviceNumber(std::string_view text, unsigned& major, unsigned& minor)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    const auto a = std::from_chars(text.data(), text.data() + colon, major);
    const auto b = std::from_chars(text.data() + colon + 1, text.data() + text.size(), minor);
    return a.ec == std::errc() && b.ec == std::errc();
}

}  // namespace

std::uint64_t procfsDelta(std::uint64_t current, std::uint64_t previous)
{
    if (current >= previous) {
        return current - previous;
    }
    // A count that was below 2^32 wrapped as a 32-bit one (32-bit kernels).
    if (previous <= std::numeric_limits<std::uint32_t>::max()) {
        return current + (std::uint64_t(1) << 32) - previous;
    }
    return current + (std::numeric_limits<std::uint64_t>::max() - previous) + 1;
}

void ProcfsSampler::readSystem(ProcfsSample& s, const ProcfsSample& previous)
{
    std::string_view text;
    s.uptimeOk = reader.read("/proc/uptime", text) && ProcfsScanner(text).decimal(s.uptime);
    if (s.sources & SOURCE_STAT) {
        readStat(s);
    }
    s.interruptsOk = false;
    if ((s.sources & SOURCE_INTERRUPTS) && s.cpus.ok) {
        readInterrupts(s);
    }
    if (s.sources & SOURCE_MEMINFO) {
        s.memoryOk = reader.read("/proc/meminfo", text);
        if (s.memoryOk) {
            ProcfsMemory& m = s.memory;
            s.memoryOk = procfsField(text, "MemTotal", m.totalKb) && procfsField(text, "MemAvailable", m.availableKb);
            procfsField(text, "Committed_AS", m.committedKb);
            procfsField(text, "SwapTotal", m.swapTotalKb);
            procfsField(text, "Buffers", m.buffersKb);
            procfsField(text, "Cached", m.cachedKb);
            procfsField(text, "SReclaimable", m.reclaimableKb);
            procfsField(text, "SUnreclaim", m.unreclaimableKb);
        }
    }
    if (s.sources & SOURCE_VMSTAT) {
        s.vmOk = reader.read("/proc/vmstat", text);
        s.vm = ProcfsVm();
        for (ProcfsScanner in(text); s.vmOk && !in.atEnd(); in.nextLine()) {
            const std::string_view key = in.word();
            std::uint64_t* field = key == "pgfault"      ? &s.vm.faults
                                   : key == "pgmajfault" ? &s.vm.majorFaults
                                   : key == "pswpin"     ? &s.vm.swapIn
                                   : key == "pswpout"    ? &s.vm.swapOut
                                                         : nullptr;
            if (field != nullptr) {
                in.number(*field);
            }
        }
    }
    if (s.sources & SOURCE_LOADAVG) {
        // "0.00 0.01 0.05 2/345 6789": the total after "/" counts every thread.
        s.loadavgOk = reader.read("/proc/loadavg", text);
        const std::size_t slash = text.find('/');
        s.loadavgOk = s.loadavgOk && slash != std::string_view::npos &&
                      ProcfsScanner(text.substr(slash + 1)).number(s.threads);
    }
    if (s.sources & SOURCE_DISKS) {
        readDisks(s);
    }
    if (s.sources & SOURCE_MOUNTS) {
        readMounts(s);
    }
    if (s.sources & SOURCE_NET) {
        readInterfaces(s);
    }
    if (s.sources & SOURCE_SWAPS) {
        readSwaps(s, previous);
    }
}

void ProcfsSampler::readStat(ProcfsSample& s)
{
    std::string_view text;
    s.cpus.count = 0;
    s.cpus.ok = reader.read("/proc/stat", text);
    bool total = false;
    for (ProcfsScanner in(text); s.cpus.ok && !in.atEnd(); in.nextLine()) {
        const std::string_view key = in.word();
        if (startsWith(key, "cpu")) {
            ProcfsCpu* cpu = &s.cpus.total;
            if (key.size() > 3) {
                cpu = &s.cpus.add();
                cpu->name.assign(key.substr(3));
            } else {
                total = true;
            }
            for (std::uint64_t& t : cpu->times) {
                in.number(t);
            }
        } else if (key == "ctxt") {
            in.number(s.contextSwitches);
        } else if (key == "procs_running") {
            in.number(s.procsRunning);
        }
    }
    s.cpus.ok = s.cpus.ok && total;
}

void ProcfsSampler::readInterrupts(ProcfsSample& s)
{
    std::string_view text;
    if (!reader.read("/proc/interrupts", text)) {
        return;
    }
    // The header names the online processors' columns: "CPU0 CPU1 ...".
    ProcfsScanner in(text);
    columnCpu.clear();
    for (std::string_view w = in.word(); !w.empty(); w = in.word()) {
        std::size_t at = s.cpus.count;
        for (std::size_t i = 0; i < s.cpus.count; ++i) {
            if (startsWith(w, "CPU") && w.substr(3) == s.cpus.entries[i].name) {
                at = i;
            }
        }
        columnCpu.push_back(at);
    }
    columns.assign(columnCpu.size(), 0);
    for (in.nextLine(); !in.atEnd(); in.nextLine()) {
        in.word();
        std::uint64_t n;
        for (std::size_t c = 0; c < columns.size() && in.number(n); ++c) {
            columns[c] += n;
        }
    }
    s.cpus.total.interrupts = 0;
    for (std::size_t c = 0; c < columns.size(); ++c) {
        if (columnCpu[c] < s.cpus.count) {
            s.cpus.entries[columnCpu[c]].interrupts = columns[c];
        }
        s.cpus.total.interrupts += columns[c];
    }
    s.interruptsOk = true;
}

void ProcfsSampler::readDisks(ProcfsSample& s)
{
    std::string_view text;
    s.diskstats.count = 0;
    s.disks.count = 0;
    s.diskstats.ok = reader.read("/proc/diskstats", text);
    for (ProcfsScanner in(text); s.diskstats.ok && !in.atEnd(); in.nextLine()) {
        ProcfsDisk& d = s.diskstats.add();
        std::uint64_t major = 0, minor = 0, skip = 0;
        in.number(major);
        in.number(minor);
        d.major = static_cast<unsigned>(major);
        d.minor = static_cast<unsigned>(minor);
        d.name.assign(in.word());
        in.number(d.reads);
        in.number(skip);
        in.number(d.readSectors);
        in.number(skip);
        in.number(d.writes);
        in.number(skip);
        in.number(d.writeSectors);
        in.number(skip);
        in.number(d.inFlight);
        in.number(d.busyMs);
        if (!in.number(d.weightedMs) || d.name.empty()) {
            --s.diskstats.count;
        }
    }
    // Whole disks are the entries of /sys/block; loop and RAM devices aren't disks.
    s.disks.ok = s.diskstats.ok && reader.listDirectory("/sys/block", names);
    for (const ProcfsDisk& d : s.diskstats) {
        if (!s.disks.ok || startsWith(d.name, "loop") || startsWith(d.name, "ram") ||
            std::find(names.begin(), names.end(), d.name) == names.end()) {
            continue;
        }
        s.disks.add() = d;
    }
}

void ProcfsSampler::readMounts(ProcfsSample& s)
{
    std::string_view text;
    s.mounts.count = 0;
    s.mounts.ok = reader.read("/proc/self/mountinfo", text);
    if (!s.mounts.ok) {
        return;
    }
    // The text is the reader's buffer, which the space and device reads below
    // don't touch: they go through statvfs and the diskstats already read.
    for (ProcfsScanner in(text); !in.atEnd(); in.nextLine()) {
        in.skipWords(2);
        unsigned major = 0, minor = 0;
        if (!parseDeviceNumber(in.word(), major, minor)) {
            continue;
        }
        in.word();
        const std::string_view point = in.word();
        std::string_view w = in.word();
        while (!w.empty() && w != "-") {
            w = in.word();
        }
        in.word();
        const std::string_view source = in.word();
        // Real file systems: on a block device, or named after one (btrfs
        // subvolumes have anonymous device numbers).
        if (major == 0 && !startsWith(source, "/dev/")) {
            continue;
        }
        const bool seen = std::any_of(s.mounts.begin(), s.mounts.end(), [&](const ProcfsMount& m) {
            return m.major == major && m.minor == minor;
        });
        if (seen) {
            continue;
        }
        ProcfsMount& m = s.mounts.add();
        unescapeOctal(point, m.name);
        m.major = major;
        m.minor = minor;
    }
    for (std::size_t i = 0; i < s.mounts.count; ++i) {
        ProcfsMount& m = s.mounts.entries[i];
        m.spaceOk = reader.fileSystemSpace(m.name, m.size, m.available);
        for (const ProcfsDisk& d : s.diskstats) {
            if (d.major == m.major && d.minor == m.minor) {
                m.io = d;
                m.ioOk = true;
            }
        }
    }
}

void ProcfsSampler::readInterfaces(ProcfsSample& s)
{
    std::string_view text;
    s.interfaces.count = 0;
    s.interfaces.ok = reader.read("/proc/net/dev", text);
    ProcfsScanner in(text);
    in.nextLine();
    in.nextLine();
    for (; s.interfaces.ok && !in.atEnd(); in.nextLine()) {
        in.skipBlanks();
        const std::string_view rest = in.rest();
        const std::size_t colon = rest.find(':');
        if (colon == std::string_view::npos || colon > rest.find('\n')) {
            continue;
        }
        ProcfsInterface& n = s.interfaces.add();
        n.name.assign(rest.substr(0, colon));
        in.advance(colon + 1);
        std::uint64_t skip = 0;
        in.number(n.rxBytes);
        in.number(n.rxPackets);
        in.number(n.rxErrors);
        in.number(n.rxDropped);
        for (int i = 0; i < 4; ++i) {
            in.number(skip);
        }
        in.number(n.txBytes);
        in.number(n.txPackets);
        in.number(n.txErrors);
        in.number(n.txDropped);
    }
    if (!(s.sources & SOURCE_NET_SPEED)) {
        return;
    }
    for (std::size_t i = 0; i < s.interfaces.count; ++i) {
        ProcfsInterface& n = s.interfaces.entries[i];
        path.assign("/sys/class/net/").append(n.name).append("/speed");
        std::uint64_t mbits = 0;
        // Unreadable or "-1" (no link, virtual): no bandwidth known.
        n.speedOk = reader.read(path, text);
        if (n.speedOk && ProcfsScanner(text).number(mbits)) {
            n.speedBits = static_cast<double>(mbits) * 1e6;
        }
    }
}

void ProcfsSampler::readSwaps(ProcfsSample& s, const ProcfsSample& previous)
{
    std::string_view text;
    s.swaps.count = 0;
    s.swaps.ok = reader.read("/proc/swaps", text);
    ProcfsScanner in(text);
    in.nextLine();
    s.swaps.total = ProcfsSwap();
    for (; s.swaps.ok && !in.atEnd(); in.nextLine()) {
        const std::string_view file = in.word();
        in.word();
        ProcfsSwap& w = s.swaps.add();
        unescapeOctal(file, w.name);
        in.number(w.sizeKb);
        in.number(w.usedKb);
        w.peakKb = w.usedKb;
        for (const ProcfsSwap& p : previous.swaps) {
            if (p.name == w.name) {
                w.peakKb = std::max(w.peakKb, p.peakKb);
            }
        }
        s.swaps.total.sizeKb += w.sizeKb;
        s.swaps.total.usedKb += w.usedKb;
    }
    s.swaps.total.peakKb = std::max(s.swaps.total.usedKb, previous.swaps.ok ? previous.swaps.total.peakKb : 0);
}

void ProcfsSampler::readProcesses(ProcfsSample& s)
{
    s.processes.count = 0;
    s.processes.ok = reader.listPids(pids);
    s.pidCountOk = s.processes.ok;
    s.pidCount = pids.size();
    if (!(s.sources & SOURCE_PROCESSES)) {
        return;
    }
    std::string_view text;
    for (const int pid : pids) {
        // Gone between the listing and now: not a process any more.
        if (!reader.readPid(pid, "stat", text)) {
            continue;
        }
        const std::size_t open = text.find('(');
        const std::size_t close = text.rfind(')');
        if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
            continue;
        }
        ProcfsProcess& p = s.processes.add();
        p.pid = pid;
        p.name.assign(text.substr(open + 1, close - open - 1));
        ProcfsScanner in(text.substr(close + 1));
        std::uint64_t n = 0;
        in.word();  // state
        in.number(n);
        p.ppid = static_cast<int>(n);
        in.skipWords(5);  // pgrp, session, tty, tpgid, flags
        in.number(p.minflt);
        in.skipWords(1);
        in.number(p.majflt);
        in.skipWords(1);
        in.number(p.utime);
        in.number(p.stime);
        in.skipWords(4);  // children's times, priority, nice
        in.number(p.threads);
        in.skipWords(1);
        in.number(p.start);
        if (!in.number(p.vsize)) {
            --s.processes.count;
        }
    }
}

void ProcfsSampler::listProcesses(ProcfsSample& s)
{
    s.processes.count = 0;
    s.processes.ok = reader.listPids(pids);
    s.pidCountOk = s.processes.ok;
    s.pidCount = pids.size();
    std::string_view text;
    for (const int pid : pids) {
        // The same name as stat's, which has it between parentheses.
        if (!reader.readPid(pid, "comm", text) || text.empty() || text.back() != '\n') {
            continue;
        }
        ProcfsProcess& p = s.processes.add();
        p.pid = pid;
        p.name.assign(text.substr(0, text.size() - 1));
    }
}

void ProcfsSampler::readProcessDetails(ProcfsProcess& p)
{
    std::string_view text;
    p.read = 0;
    if ((p.need & SOURCE_PROC_STATUS) && reader.readPid(p.pid, "status", text)) {
        // One pass over the "Vm..." lines.
        for (ProcfsScanner in(text); !in.atEnd(); in.nextLine()) {
            const std::string_view key = in.word();
            std::uint64_t* field = key == "VmRSS:"   ? &p.rssKb
                                   : key == "VmHWM:" ? &p.hwmKb
                                   : key == "VmData:" ? &p.dataKb
                                   : key == "VmStk:" ? &p.stackKb
                                                     : nullptr;
            if (field != nullptr) {
                in.number(*field);
            }
        }
        p.read |= SOURCE_PROC_STATUS;
    }
    if ((p.need & SOURCE_PROC_IO) && reader.readPid(p.pid, "io", text)) {
        ProcfsScanner in(text);
        std::uint64_t* fields[] = {&p.rchar, &p.wchar, &p.syscr, &p.syscw};
        bool ok = true;
        for (std::uint64_t* f : fields) {
            in.word();
            ok = ok && in.number(*f);
            in.nextLine();
        }
        p.read |= ok ? static_cast<unsigned>(SOURCE_PROC_IO) : 0u;
    }
    if (p.need & SOURCE_PROC_FD) {
        const long n = reader.countOpenFiles(p.pid);
        if (n >= 0) {
            p.openFiles = static_cast<std::uint64_t>(n);
            p.read |= SOURCE_PROC_FD;
        }
    }
}
