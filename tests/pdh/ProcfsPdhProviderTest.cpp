#include <gtest/gtest.h>

#include <cmath>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "foundation/Str.h"
#include "pdh/procfs/ProcfsPdhProvider.h"
#include "tests/pdh/ProcfsFakeRoot.h"

namespace {

struct Reading {
    PDH_STATUS status = 0;
    DWORD cstatus = 0;
    double value = 0;
};

// A provider on the fake root with one query, and the calls as tests need them.
class Pdh {
public:
    explicit Pdh(const FakeRoot& root) : provider(root.options()) { provider.openQueryA(nullptr, 0, &query); }


    PDH_HCOUNTER add(const std::wstring& path)
    {
        PDH_HCOUNTER c = nullptr;
        EXPECT_EQ(0, provider.addCounterW(query, path.c_str(), 0, &c)) << Str::fromWide(path);
        counters[path] = c;
        return c;
    }
    // Adds the counter of each name under a common prefix, before the collects read them.
    void add(const std::wstring& prefix, std::initializer_list<const wchar_t*> names)
    {
        for (const wchar_t* name : names) {
            add(prefix + name);
        }
    }
    PDH_STATUS collect() { return provider.collectQueryData(query); }
    Reading read(PDH_HCOUNTER c)
    {
        PDH_FMT_COUNTERVALUE v{};
        Reading r;
        r.status = provider.getFormattedCounterValue(c, PDH_FMT_DOUBLE, nullptr, &v);
        r.cstatus = v.CStatus;
        r.value = v.doubleValue;
        return r;
    }
    double value(const std::wstring& path)
    {
        EXPECT_EQ(1u, counters.count(path)) << "not added: " << Str::fromWide(path);
        const Reading r = read(counters[path]);
        EXPECT_EQ(0, r.status) << Str::fromWide(path);
        return r.value;
    }
    // Name and value (NaN if the item isn't valid) of each array item.
    PDH_STATUS array(PDH_HCOUNTER c, std::vector<std::pair<std::wstring, double>>& out)
    {
        out.clear();
        DWORD size = 0, count = 0;
        PDH_STATUS s = provider.getFormattedCounterArrayW(c, PDH_FMT_DOUBLE, &size, &count, nullptr);
        if (s != static_cast<PDH_STATUS>(PDH_MORE_DATA)) {
            return s;
        }
        std::vector<char> buffer(size);
        auto* items = reinterpret_cast<PPDH_FMT_COUNTERVALUE_ITEM_W>(buffer.data());
        s = provider.getFormattedCounterArrayW(c, PDH_FMT_DOUBLE, &size, &count, items);
        for (DWORD i = 0; s == 0 && i < count; ++i) {
            out.emplace_back(items[i].szName, items[i].FmtValue.CStatus == 0 ? items[i].FmtValue.doubleValue : NAN);
        }
        return s;
    }
    void items(const wchar_t* object, std::vector<std::wstring>& counterNames, std::vector<std::wstring>& instances)
    {
        DWORD cs = 0, is = 0;
        ASSERT_EQ(static_cast<PDH_STATUS>(PDH_MORE_DATA),
                  provider.enumObjectItemsW(nullptr, nullptr, object, nullptr, &cs, nullptr, &is, 400, 0));
        std::vector<wchar_t> cb(cs + 2), ib(is + 2);
        ASSERT_EQ(0, provider.enumObjectItemsW(nullptr, nullptr, object, cb.data(), &cs, ib.data(), &is, 400, 0));
        counterNames = walk(cb);
        instances = walk(ib);
    }
    static std::vector<std::wstring> walk(const std::vector<wchar_t>& b)
    {
        std::vector<std::wstring> out;
        for (const wchar_t* p = b.data(); *p != L'\0'; p += out.back().size() + 1) {
            out.emplace_back(p);
        }
        return out;
    }

    ProcfsPdhProvider provider;
    PDH_HQUERY query = nullptr;
    std::map<std::wstring, PDH_HCOUNTER> counters;
};

const PDH_STATUS INVALID_DATA = static_cast<PDH_STATUS>(PDH_INVALID_DATA);

std::string statText(const std::string& total, const std::string& cpu0, const std::string& cpu1, int ctxt,
                     int running)
{
    return "cpu  " + total + "\ncpu0 " + cpu0 + "\ncpu1 " + cpu1 + "\nintr 999 1 2\nctxt " + std::to_string(ctxt) +
           "\nbtime 1\nprocesses 50\nprocs_running " + std::to_string(running) + "\nprocs_blocked 0\n";
}

TEST(ProcfsPdhProvider, ProcessorSharesInterruptsAndFirstSample)
{
    FakeRoot root;
    root.write("/proc/stat", statText("100 0 100 800 0 0 0 0 0 0", "50 0 50 400 0 0 0 0 0 0",
                                      "50 0 50 400 0 0 0 0 0 0", 1000, 3));
    root.write("/proc/interrupts", "           CPU0       CPU1\n  0:   10   20   IO-APIC   2-edge   timer\n"
                                   "LOC:  100  200   Local timer interrupts\nERR:  0\n");
    Pdh pdh(root);
    const std::wstring cpu0 = L"\\Processor(0)\\";
    pdh.add(cpu0, {L"% Processor Time", L"% User Time", L"% Privileged Time", L"% Interrupt Time", L"% DPC Time",
                   L"Interrupts/sec"});
    pdh.add(L"\\", {L"Processor(_Total)\\Interrupts/sec", L"System\\Context Switches/sec",
                     L"System\\Processor Queue Length"});
    const PDH_HCOUNTER total = pdh.add(L"\\Processor(_Total)\\% Processor Time");
    const PDH_HCOUNTER missing = pdh.add(L"\\Processor(7)\\% Idle Time");
    const PDH_HCOUNTER wild = pdh.add(L"\\\\testhost\\Processor(*)\\% User Time");
    EXPECT_EQ(INVALID_DATA, pdh.read(total).status);  // not collected yet
    ASSERT_EQ(0, pdh.collect());
    const Reading first = pdh.read(total);
    EXPECT_EQ(INVALID_DATA, first.status);
    EXPECT_EQ(PDH_CSTATUS_INVALID_DATA, first.cstatus);
    std::vector<std::pair<std::wstring, double>> items;
    EXPECT_EQ(INVALID_DATA, pdh.array(wild, items));

    // cpu0: user 30+10 nice, system 20, idle 30, iowait 10, irq 5, softirq 5 of 110 ticks.
    root.write("/proc/stat", statText("190 10 170 840 10 5 5 0 0 0", "80 10 70 430 10 5 5 0 0 0",
                                      "60 0 60 410 0 0 0 0 0 0", 1500, 5));
    root.write("/proc/interrupts", "           CPU0       CPU1\n  0:   30   20   IO-APIC   2-edge   timer\n"
                                   "LOC:  140  260   Local timer interrupts\nERR:  0\n");
    root.uptime(102);
    ASSERT_EQ(0, pdh.collect());
    pdh.add(cpu0 + L"% Idle Time");
    EXPECT_EQ(INVALID_DATA, pdh.read(pdh.counters[cpu0 + L"% Idle Time"]).status);  // added late: one sample
    ASSERT_EQ(0, pdh.collect());  // nothing moved: shares of no time can't be told
    EXPECT_EQ(INVALID_DATA, pdh.read(total).status);

    root.write("/proc/stat", statText("280 20 240 880 20 10 10 0 0 0", "110 20 90 460 20 10 10 0 0 0",
                                      "70 0 70 420 0 0 0 0 0 0", 2100, 5));
    root.write("/proc/interrupts", "           CPU0       CPU1\n  0:   50   20   IO-APIC   2-edge   timer\n"
                                   "LOC:  180  320   Local timer interrupts\nERR:  0\n");
    root.uptime(104);
    ASSERT_EQ(0, pdh.collect());
    EXPECT_NEAR(100.0 * 70 / 110, pdh.value(cpu0 + L"% Processor Time"), 1e-9);
    EXPECT_NEAR(100.0 * 40 / 110, pdh.value(cpu0 + L"% User Time"), 1e-9);
    EXPECT_NEAR(100.0 * 30 / 110, pdh.value(cpu0 + L"% Privileged Time"), 1e-9);
    EXPECT_NEAR(100.0 * 40 / 110, pdh.value(cpu0 + L"% Idle Time"), 1e-9);
    EXPECT_NEAR(100.0 * 5 / 110, pdh.value(cpu0 + L"% Interrupt Time"), 1e-9);
    EXPECT_NEAR(100.0 * 5 / 110, pdh.value(cpu0 + L"% DPC Time"), 1e-9);
    EXPECT_NEAR((20 + 40) / 2.0, pdh.value(cpu0 + L"Interrupts/sec"), 1e-9);
    EXPECT_NEAR((60 + 60) / 2.0, pdh.value(L"\\Processor(_Total)\\Interrupts/sec"), 1e-9);
    EXPECT_NEAR(100.0 * 180 / 230, pdh.read(total).value, 1e-9);  // its own line, not the sum
    ASSERT_EQ(0, pdh.array(wild, items));
    ASSERT_EQ(3u, items.size());
    EXPECT_EQ(L"0", items[0].first);
    EXPECT_EQ(L"_Total", items[2].first);
    EXPECT_NEAR(100.0 * 10 / 30, items[1].second, 1e-9);
    EXPECT_NEAR((2100 - 1500) / 2.0, pdh.value(L"\\System\\Context Switches/sec"), 1e-9);
    EXPECT_EQ(3.0, pdh.value(L"\\System\\Processor Queue Length"));  // 5 runnable on 2 processors
    EXPECT_EQ(PDH_CSTATUS_NO_INSTANCE, pdh.read(missing).cstatus);
}

TEST(ProcfsPdhProvider, RatesSurviveCounterWrapAround)
{
    EXPECT_EQ(10u, procfsDelta(5, 0xFFFFFFFBull));  // a 32-bit count
    EXPECT_EQ(10u, procfsDelta(5, 0xFFFFFFFFFFFFFFFBull));
    EXPECT_EQ(7u, procfsDelta(10, 3));

    FakeRoot root;
    root.write("/proc/net/dev", "Inter-|   Receive\n face |bytes\n"
                                "  eth0: 4294967000 10 0 0 0 0 0 0 100 5 0 0 0 0 0 0\n");
    Pdh pdh(root);
    pdh.add(L"\\Network Interface(eth0)\\Bytes Received/sec");
    ASSERT_EQ(0, pdh.collect());
    root.write("/proc/net/dev", "Inter-|   Receive\n face |bytes\n"
                                "  eth0: 704 20 0 0 0 0 0 0 300 5 0 0 0 0 0 0\n");
    root.uptime(101);
    ASSERT_EQ(0, pdh.collect());
    EXPECT_DOUBLE_EQ(1000.0, pdh.value(L"\\Network Interface(eth0)\\Bytes Received/sec"));
}

TEST(ProcfsPdhProvider, MemoryAndSystemCounters)
{
    FakeRoot root;
    root.write("/proc/meminfo", "MemTotal:  8000000 kB\nMemFree: 1000 kB\nMemAvailable:  2048000 kB\n"
                                "Buffers:  1000 kB\nCached:  3000 kB\nSwapCached: 0 kB\nSwapTotal:  2000000 kB\n"
                                "Committed_AS:  5000000 kB\nSReclaimable:  500 kB\nSUnreclaim:  700 kB\n");
    root.write("/proc/vmstat", "nr_free_pages 1\npgpgin 5\npswpin 10\npswpout 20\npgfault 1000\npgmajfault 3\n");
    root.write("/proc/loadavg", "0.50 0.40 0.30 2/345 6789\n");
    root.write("/proc/stat", statText("1 1 1 1 1 1 1 1 0 0", "1 1 1 1 1 1 1 1 0 0", "1 1 1 1 1 1 1 1 0 0", 1, 1));
    root.process(1, "init", 0, 1, 0, 0);
    root.process(2, "kthreadd", 0, 1, 0, 0);
    root.write("/proc/self/stat", "");  // not a process
    Pdh pdh(root);
    pdh.add(L"\\Memory\\", {L"Available Bytes", L"Available KBytes", L"Available MBytes", L"Committed Bytes",
                              L"Commit Limit", L"% Committed Bytes In Use", L"Cache Bytes", L"Pool Nonpaged Bytes",
                              L"Pages/sec", L"Pages Input/sec", L"Pages Output/sec"});
    pdh.add(L"\\System\\", {L"Processes", L"Threads", L"System Up Time"});
    ASSERT_EQ(0, pdh.collect());
    // Counters added after a collect have one sample at the next: rates wait for the one after.
    const PDH_HCOUNTER faults = pdh.add(L"\\Memory\\Page Faults/sec");
    root.write("/proc/vmstat", "nr_free_pages 1\npgpgin 5\npswpin 30\npswpout 60\npgfault 1400\npgmajfault 3\n");
    root.uptime(104);
    ASSERT_EQ(0, pdh.collect());
    EXPECT_EQ(INVALID_DATA, pdh.read(faults).status);
    EXPECT_DOUBLE_EQ(2048000.0 * 1024, pdh.value(L"\\Memory\\Available Bytes"));
    EXPECT_DOUBLE_EQ(2048000.0, pdh.value(L"\\Memory\\Available KBytes"));
    EXPECT_DOUBLE_EQ(2000.0, pdh.value(L"\\Memory\\Available MBytes"));
    EXPECT_DOUBLE_EQ(5000000.0 * 1024, pdh.value(L"\\Memory\\Committed Bytes"));
    EXPECT_DOUBLE_EQ(10000000.0 * 1024, pdh.value(L"\\Memory\\Commit Limit"));
    EXPECT_DOUBLE_EQ(50.0, pdh.value(L"\\Memory\\% Committed Bytes In Use"));
    EXPECT_DOUBLE_EQ(4500.0 * 1024, pdh.value(L"\\Memory\\Cache Bytes"));
    EXPECT_DOUBLE_EQ(700.0 * 1024, pdh.value(L"\\Memory\\Pool Nonpaged Bytes"));
    EXPECT_DOUBLE_EQ(15.0, pdh.value(L"\\Memory\\Pages/sec"));
    root.write("/proc/vmstat", "nr_free_pages 1\npgpgin 5\npswpin 40\npswpout 60\npgfault 1600\npgmajfault 3\n");
    root.uptime(106);
    ASSERT_EQ(0, pdh.collect());
    EXPECT_DOUBLE_EQ(100.0, pdh.read(faults).value);
    EXPECT_DOUBLE_EQ(5.0, pdh.value(L"\\Memory\\Pages Input/sec"));
    EXPECT_DOUBLE_EQ(0.0, pdh.value(L"\\Memory\\Pages Output/sec"));
    EXPECT_DOUBLE_EQ(2.0, pdh.value(L"\\System\\Processes"));
    EXPECT_DOUBLE_EQ(345.0, pdh.value(L"\\System\\Threads"));
    EXPECT_DOUBLE_EQ(106.0, pdh.value(L"\\System\\System Up Time"));

    // Objects without instances list none, with a length of 0.
    std::vector<std::wstring> counterNames, instances;
    pdh.items(L"Memory", counterNames, instances);
    EXPECT_EQ(12u, counterNames.size());
    EXPECT_TRUE(instances.empty());
    root.remove("/proc/meminfo");
    ASSERT_EQ(0, pdh.collect());
    EXPECT_EQ(PDH_CSTATUS_INVALID_DATA, pdh.read(pdh.counters[L"\\Memory\\Available Bytes"]).cstatus);
}

TEST(ProcfsPdhProvider, DisksNetworkAndPagingFiles)
{
    FakeRoot root;
    const auto diskstats = [&](int r, int rs, int w, int ws, int busy, int weighted, int sdbBusy) {
        const auto line = [](const std::string& head, int r, int rs, int w, int ws, int inFlight, int busy,
                             int weighted) {
            return head + " " + std::to_string(r) + " 0 " + std::to_string(rs) + " 0 " + std::to_string(w) + " 0 " +
                   std::to_string(ws) + " 0 " + std::to_string(inFlight) + " " + std::to_string(busy) + " " +
                   std::to_string(weighted) + " 0 0 0 0\n";
        };
        root.write("/proc/diskstats", line("   8       0 sda", r, rs, w, ws, 3, busy, weighted) +
                                          line("   8       1 sda1", r - 10, rs - 200, w - 10, ws - 100, 3, busy - 100,
                                               weighted - 100) +
                                          line("   7       0 loop0", 5, 10, 0, 0, 0, 0, 0) +
                                          line("   8      16 sdb", 10, 100, 10, 100, 0, sdbBusy, 100));
    };
    diskstats(100, 2000, 50, 1000, 500, 800, 100);
    for (const char* d : {"sda", "sdb", "loop0"}) {
        root.write(std::string("/sys/block/") + d + "/size", "1000\n");
    }
    root.write("/proc/self/mountinfo", "26 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                                       "27 26 0:22 / /run rw - tmpfs tmpfs rw\n"
                                       "28 26 8:1 / /mnt/bind rw - ext4 /dev/sda1 rw\n"
                                       "29 26 8:16 / /data\\040disk rw - xfs /dev/sdb rw\n");
    fs::create_directories(root.dir / "data disk");
    root.write("/proc/net/dev", "Inter-|   Receive\n face |bytes\n"
                                "    lo: 1000 10 0 0 0 0 0 0 1000 10 0 0 0 0 0 0\n"
                                "  eth0: 5000 50 1 2 0 0 0 0 7000 70 3 4 0 0 0 0\n");
    root.write("/sys/class/net/eth0/speed", "1000\n");
    root.write("/proc/swaps", "Filename\tType\tSize\tUsed\tPriority\n/dev/sda2  partition\t1000\t100\t-2\n"
                              "/swap\\040file  file\t3000\t600\t-3\n");
    Pdh pdh(root);
    const PDH_HCOUNTER physical = pdh.add(L"\\PhysicalDisk(*)\\% Disk Time");
    const PDH_HCOUNTER logical = pdh.add(L"\\LogicalDisk(*)\\Disk Reads/sec");
    const std::wstring sda = L"\\PhysicalDisk(sda)\\";
    pdh.add(sda, {L"Disk Reads/sec", L"Disk Writes/sec", L"Disk Read Bytes/sec", L"Disk Write Bytes/sec",
                  L"Disk Bytes/sec", L"Avg. Disk Queue Length", L"% Disk Time", L"Current Disk Queue Length"});
    pdh.add(L"\\", {L"PhysicalDisk(_Total)\\Disk Reads/sec", L"LogicalDisk(/)\\% Free Space",
                     L"LogicalDisk(/data disk)\\Free Megabytes", L"LogicalDisk(_Total)\\Free Megabytes",
                     L"LogicalDisk(/)\\Disk Write Bytes/sec", L"Network Interface(lo)\\Current Bandwidth"});
    const std::wstring eth = L"\\Network Interface(eth0)\\";
    pdh.add(eth, {L"Bytes Received/sec", L"Bytes Sent/sec", L"Bytes Total/sec", L"Packets Received/sec",
                  L"Packets Sent/sec", L"Packets/sec", L"Current Bandwidth", L"Packets Received Errors",
                  L"Packets Outbound Errors", L"Packets Received Discarded", L"Packets Outbound Discarded"});
    pdh.add(L"\\Paging File", {L"(/dev/sda2)\\% Usage", L"(/swap file)\\% Usage", L"(_Total)\\% Usage",
                                L"(_Total)\\% Usage Peak", L"(/swap file)\\% Usage Peak"});
    ASSERT_EQ(0, pdh.collect());
    diskstats(300, 6000, 150, 3000, 1500, 2800, 200);
    root.write("/proc/net/dev", "Inter-|   Receive\n face |bytes\n"
                                "    lo: 1000 10 0 0 0 0 0 0 1000 10 0 0 0 0 0 0\n"
                                "  eth0: 9000 90 1 2 0 0 0 0 9000 80 3 4 0 0 0 0\n");
    root.write("/proc/swaps", "Filename\tType\tSize\tUsed\tPriority\n/dev/sda2  partition\t1000\t50\t-2\n"
                              "/swap\\040file  file\t3000\t300\t-3\n");
    root.uptime(102);
    ASSERT_EQ(0, pdh.collect());

    EXPECT_DOUBLE_EQ(100.0, pdh.value(sda + L"Disk Reads/sec"));
    EXPECT_DOUBLE_EQ(50.0, pdh.value(sda + L"Disk Writes/sec"));
    EXPECT_DOUBLE_EQ(4000.0 * 512 / 2, pdh.value(sda + L"Disk Read Bytes/sec"));
    EXPECT_DOUBLE_EQ(2000.0 * 512 / 2, pdh.value(sda + L"Disk Write Bytes/sec"));
    EXPECT_DOUBLE_EQ(6000.0 * 512 / 2, pdh.value(sda + L"Disk Bytes/sec"));
    EXPECT_DOUBLE_EQ(1.0, pdh.value(sda + L"Avg. Disk Queue Length"));
    EXPECT_DOUBLE_EQ(50.0, pdh.value(sda + L"% Disk Time"));
    EXPECT_DOUBLE_EQ(3.0, pdh.value(sda + L"Current Disk Queue Length"));
    std::vector<std::pair<std::wstring, double>> items;
    ASSERT_EQ(0, pdh.array(physical, items));
    ASSERT_EQ(3u, items.size());  // no loop device, no partition
    EXPECT_EQ(L"sdb", items[1].first);
    EXPECT_DOUBLE_EQ(5.0, items[1].second);
    EXPECT_EQ(L"_Total", items[2].first);
    EXPECT_DOUBLE_EQ(27.5, items[2].second);  // the disks' mean
    EXPECT_DOUBLE_EQ(100.0, pdh.value(L"\\PhysicalDisk(_Total)\\Disk Reads/sec"));

    // One instance a device: the bind mount and tmpfs aren't disks.
    ASSERT_EQ(0, pdh.array(logical, items));
    ASSERT_EQ(3u, items.size());
    EXPECT_EQ(L"/", items[0].first);
    EXPECT_DOUBLE_EQ(100.0, items[0].second);
    EXPECT_EQ(L"/data disk", items[1].first);
    const fs::space_info space = fs::space(root.dir);
    EXPECT_NEAR(100.0 * space.available / space.capacity, pdh.value(L"\\LogicalDisk(/)\\% Free Space"), 0.01);
    EXPECT_NEAR(space.available / 1048576.0, pdh.value(L"\\LogicalDisk(/data disk)\\Free Megabytes"), 1.0);
    EXPECT_NEAR(2 * space.available / 1048576.0, pdh.value(L"\\LogicalDisk(_Total)\\Free Megabytes"), 2.0);
    EXPECT_DOUBLE_EQ(2000.0 * 512 / 2, pdh.value(L"\\LogicalDisk(/)\\Disk Write Bytes/sec"));

    EXPECT_DOUBLE_EQ(2000.0, pdh.value(eth + L"Bytes Received/sec"));
    EXPECT_DOUBLE_EQ(1000.0, pdh.value(eth + L"Bytes Sent/sec"));
    EXPECT_DOUBLE_EQ(3000.0, pdh.value(eth + L"Bytes Total/sec"));
    EXPECT_DOUBLE_EQ(20.0, pdh.value(eth + L"Packets Received/sec"));
    EXPECT_DOUBLE_EQ(5.0, pdh.value(eth + L"Packets Sent/sec"));
    EXPECT_DOUBLE_EQ(25.0, pdh.value(eth + L"Packets/sec"));
    EXPECT_DOUBLE_EQ(1e9, pdh.value(eth + L"Current Bandwidth"));
    EXPECT_DOUBLE_EQ(0.0, pdh.value(L"\\Network Interface(lo)\\Current Bandwidth"));
    EXPECT_DOUBLE_EQ(1.0, pdh.value(eth + L"Packets Received Errors"));
    EXPECT_DOUBLE_EQ(3.0, pdh.value(eth + L"Packets Outbound Errors"));
    EXPECT_DOUBLE_EQ(2.0, pdh.value(eth + L"Packets Received Discarded"));
    EXPECT_DOUBLE_EQ(4.0, pdh.value(eth + L"Packets Outbound Discarded"));

    EXPECT_DOUBLE_EQ(5.0, pdh.value(L"\\Paging File(/dev/sda2)\\% Usage"));
    EXPECT_DOUBLE_EQ(10.0, pdh.value(L"\\Paging File(/swap file)\\% Usage"));
    EXPECT_DOUBLE_EQ(350.0 / 40, pdh.value(L"\\Paging File(_Total)\\% Usage"));
    EXPECT_DOUBLE_EQ(700.0 / 40, pdh.value(L"\\Paging File(_Total)\\% Usage Peak"));
    EXPECT_DOUBLE_EQ(20.0, pdh.value(L"\\Paging File(/swap file)\\% Usage Peak"));

    std::vector<std::wstring> counterNames, instances;
    pdh.items(L"PhysicalDisk", counterNames, instances);
    EXPECT_EQ((std::vector<std::wstring>{L"sda", L"sdb", L"_Total"}), instances);
    EXPECT_EQ(8u, counterNames.size());
}

TEST(ProcfsPdhProvider, ProcessesByNameAndNumber)
{
    FakeRoot root;
    root.process(10, "bash", 1, 1000, 100, 50, 50, 0, 4);
    root.process(20, "bash", 10, 2000, 10, 10);
    root.process(30, "my (prog)", 1, 3000, 0, 0);
    root.process(40, "kworker/0:1", 2, 4000, 0, 0);
    root.write("/proc/50/status", "Name:\tgone\n");  // ended between listing and reading
    Pdh pdh(root);
    const PDH_HCOUNTER ids = pdh.add(L"\\Process(*)\\ID Process");
    const PDH_HCOUNTER cpu = pdh.add(L"\\Process(*)\\% Processor Time");
    const PDH_HCOUNTER second = pdh.add(L"\\Process(bash#1)\\% Processor Time");
    const std::wstring bash = L"\\Process(bash)\\";
    pdh.add(bash, {L"% Processor Time", L"% User Time", L"% Privileged Time", L"ID Process", L"Creating Process ID",
                   L"Elapsed Time", L"Handle Count", L"Working Set", L"Working Set Peak", L"Private Bytes",
                   L"Page Faults/sec", L"IO Read Bytes/sec", L"IO Write Bytes/sec", L"IO Read Operations/sec",
                   L"IO Write Operations/sec"});
    pdh.add(L"\\Process", {L"(_Total)\\% Processor Time", L"(BASH#1)\\ID Process", L"(kworker/0:1)\\Thread Count",
                            L"(my (prog))\\Virtual Bytes", L"(my (prog))\\ID Process",
                            L"(my (prog))\\IO Write Bytes/sec", L"(BASH#1)\\Handle Count", L"(bash#2)\\Handle Count"});
    ASSERT_EQ(0, pdh.collect());
    EXPECT_EQ(INVALID_DATA, pdh.read(second).status);
    std::vector<std::pair<std::wstring, double>> items;
    ASSERT_EQ(0, pdh.array(ids, items));
    const std::vector<std::pair<std::wstring, double>> expected = {
        {L"bash", 10}, {L"bash", 20}, {L"my (prog)", 30}, {L"kworker/0:1", 40}, {L"_Total", 0}};
    EXPECT_EQ(expected, items);

    root.process(10, "bash", 1, 1000, 250, 100, 250, 1000, 4);
    root.process(20, "bash", 10, 2000, 310, 10);
    root.uptime(102);
    ASSERT_EQ(0, pdh.collect());
    EXPECT_DOUBLE_EQ(100.0, pdh.value(bash + L"% Processor Time"));
    EXPECT_DOUBLE_EQ(75.0, pdh.value(bash + L"% User Time"));
    EXPECT_DOUBLE_EQ(25.0, pdh.value(bash + L"% Privileged Time"));
    EXPECT_DOUBLE_EQ(150.0, pdh.read(second).value);  // a share of one processor
    EXPECT_DOUBLE_EQ(250.0, pdh.value(L"\\Process(_Total)\\% Processor Time"));
    EXPECT_DOUBLE_EQ(10.0, pdh.value(bash + L"ID Process"));
    EXPECT_DOUBLE_EQ(20.0, pdh.value(L"\\Process(BASH#1)\\ID Process"));
    EXPECT_DOUBLE_EQ(1.0, pdh.value(bash + L"Creating Process ID"));
    EXPECT_DOUBLE_EQ(92.0, pdh.value(bash + L"Elapsed Time"));
    EXPECT_DOUBLE_EQ(3.0, pdh.value(L"\\Process(kworker/0:1)\\Thread Count"));
    EXPECT_DOUBLE_EQ(4.0, pdh.value(bash + L"Handle Count"));
    EXPECT_DOUBLE_EQ(0.0, pdh.value(L"\\Process(BASH#1)\\Handle Count"));  // read for the second of the name
    EXPECT_EQ(PDH_CSTATUS_NO_INSTANCE, pdh.read(pdh.counters[L"\\Process(bash#2)\\Handle Count"]).cstatus);
    EXPECT_DOUBLE_EQ(100.0 * 1024, pdh.value(bash + L"Working Set"));
    EXPECT_DOUBLE_EQ(200.0 * 1024, pdh.value(bash + L"Working Set Peak"));
    EXPECT_DOUBLE_EQ(320.0 * 1024, pdh.value(bash + L"Private Bytes"));
    EXPECT_DOUBLE_EQ(8192000.0, pdh.value(L"\\Process(my (prog))\\Virtual Bytes"));
    EXPECT_DOUBLE_EQ(100.0, pdh.value(bash + L"Page Faults/sec"));
    EXPECT_DOUBLE_EQ(500.0, pdh.value(bash + L"IO Read Bytes/sec"));
    EXPECT_DOUBLE_EQ(0.0, pdh.value(bash + L"IO Write Bytes/sec"));
    EXPECT_DOUBLE_EQ(0.0, pdh.value(bash + L"IO Read Operations/sec"));
    EXPECT_DOUBLE_EQ(0.0, pdh.value(bash + L"IO Write Operations/sec"));

    // The second bash ends, the first is replaced by a new process with its pid,
    // and one file of a third can't be read.
    root.remove("/proc/20");
    root.process(10, "bash", 1, 9000, 300, 100);
    root.makeUnreadable("/proc/30/io");
    root.process(60, "late", 1, 9100, 5, 5);
    root.uptime(104);
    ASSERT_EQ(0, pdh.collect());
    const Reading ended = pdh.read(second);
    EXPECT_EQ(INVALID_DATA, ended.status);
    EXPECT_EQ(PDH_CSTATUS_NO_INSTANCE, ended.cstatus);
    EXPECT_EQ(INVALID_DATA, pdh.read(pdh.counters[bash + L"% Processor Time"]).status);  // not the same process
    EXPECT_DOUBLE_EQ(14.0, pdh.value(bash + L"Elapsed Time"));  // started at 90 s
    EXPECT_DOUBLE_EQ(30.0, pdh.value(L"\\Process(my (prog))\\ID Process"));
    const Reading unreadable = pdh.read(pdh.counters[L"\\Process(my (prog))\\IO Write Bytes/sec"]);
    EXPECT_EQ(INVALID_DATA, unreadable.status);
    ASSERT_EQ(0, pdh.array(cpu, items));
    ASSERT_EQ(5u, items.size());
    EXPECT_EQ(L"bash", items[0].first);
    EXPECT_TRUE(std::isnan(items[0].second));  // new: no earlier sample
    EXPECT_EQ(L"late", items[3].first);
    EXPECT_TRUE(std::isnan(items[3].second));

    // Enumeration lists afresh, repeated names as often as they occur.
    std::vector<std::wstring> counterNames, instances;
    pdh.items(L"Process", counterNames, instances);
    EXPECT_EQ((std::vector<std::wstring>{L"bash", L"my (prog)", L"kworker/0:1", L"late", L"_Total"}), instances);
    root.process(70, "late", 1, 9200, 0, 0);
    pdh.items(L"Process", counterNames, instances);
    EXPECT_EQ(6u, instances.size());
    EXPECT_EQ(17u, counterNames.size());
    EXPECT_EQ(0, pdh.provider.validatePathW(L"\\Process(late#1)\\ID Process"));
    // One that comes between a sizing call and its filling call waits for the
    // next listing instead of outgrowing the buffers.
    DWORD cs = 0, is = 0;
    ASSERT_EQ(static_cast<PDH_STATUS>(PDH_MORE_DATA),
              pdh.provider.enumObjectItemsW(nullptr, nullptr, L"Process", nullptr, &cs, nullptr, &is, 400, 0));
    root.process(80, "between", 1, 9300, 0, 0);
    std::vector<wchar_t> cb(cs), ib(is);
    ASSERT_EQ(0, pdh.provider.enumObjectItemsW(nullptr, nullptr, L"Process", cb.data(), &cs, ib.data(), &is, 400, 0));
    EXPECT_EQ(6u, Pdh::walk(ib).size());
    pdh.items(L"Process", counterNames, instances);
    EXPECT_EQ(L"between", instances[5]);
    EXPECT_EQ(static_cast<PDH_STATUS>(PDH_CSTATUS_NO_INSTANCE),
              pdh.provider.validatePathW(L"\\Process(late#2)\\ID Process"));
}

TEST(ProcfsPdhProvider, PathsObjectsAndExplainTexts)
{
    FakeRoot root;
    root.write("/proc/net/dev", "Inter-|   Receive\n face |bytes\n  eth0: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n");
    Pdh pdh(root);
    PDH_HCOUNTER c = nullptr;
    EXPECT_EQ(static_cast<PDH_STATUS>(PDH_CSTATUS_NO_OBJECT),
              pdh.provider.addCounterW(pdh.query, L"\\Nothing\\Count", 0, &c));
    EXPECT_EQ(static_cast<PDH_STATUS>(PDH_CSTATUS_NO_COUNTER),
              pdh.provider.addCounterW(pdh.query, L"\\Memory\\Nothing", 0, &c));
    EXPECT_EQ(static_cast<PDH_STATUS>(PDH_CSTATUS_NO_INSTANCE),
              pdh.provider.addCounterW(pdh.query, L"\\Memory(x)\\Available Bytes", 0, &c));
    EXPECT_EQ(static_cast<PDH_STATUS>(PDH_CSTATUS_NO_MACHINE),
              pdh.provider.addCounterW(pdh.query, L"\\\\elsewhere\\Memory\\Available Bytes", 0, &c));
    PDH_HQUERY empty = nullptr;
    pdh.provider.openQueryA(nullptr, 0, &empty);
    EXPECT_EQ(static_cast<PDH_STATUS>(PDH_NO_DATA), pdh.provider.collectQueryData(empty));

    DWORD size = 0;
    ASSERT_EQ(static_cast<PDH_STATUS>(PDH_MORE_DATA),
              pdh.provider.enumObjectsW(nullptr, nullptr, nullptr, &size, 400, 1));
    std::vector<wchar_t> list(size);
    ASSERT_EQ(0, pdh.provider.enumObjectsW(nullptr, nullptr, list.data(), &size, 400, 0));
    const std::vector<std::wstring> objects = Pdh::walk(list);
    EXPECT_EQ(8u, objects.size());

    // Every counter of every object has its explain text.
    for (const std::wstring& object : objects) {
        std::vector<std::wstring> counterNames, instances;
        pdh.items(object.c_str(), counterNames, instances);
        const std::wstring instance = object == L"Network Interface" ? L"(eth0)"
                                      : instances.empty()            ? L""
                                                                     : L"(_Total)";
        for (const std::wstring& counter : counterNames) {
            const PDH_HCOUNTER h = pdh.add(L"\\" + object + instance + L"\\" + counter);
            size = 0;
            ASSERT_EQ(static_cast<PDH_STATUS>(PDH_MORE_DATA), pdh.provider.getCounterInfoW(h, 1, &size, nullptr));
            std::vector<char> buffer(size);
            auto* info = reinterpret_cast<PPDH_COUNTER_INFO_W>(buffer.data());
            ASSERT_EQ(0, pdh.provider.getCounterInfoW(h, 1, &size, info));
            EXPECT_EQ(counter, info->CounterPath.szCounterName);
            ASSERT_NE(nullptr, info->szExplainText);
            EXPECT_GT(std::wcslen(info->szExplainText), 10u) << Str::fromWide(counter);
        }
    }
}

// Open descriptors of this process.
std::size_t openFiles()
{
    std::size_t n = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++n;
    }
    return n;
}

TEST(ProcfsPdhProvider, LiveSystemIsPlausible)
{
    const std::size_t filesBefore = openFiles();
    ProcfsPdhProvider provider{ProcfsPdhProvider::Options()};
    PDH_HQUERY query = nullptr;
    provider.openQueryA(nullptr, 0, &query);
    const wchar_t* paths[] = {L"\\Processor(_Total)\\% User Time", L"\\Processor(_Total)\\% Privileged Time",
                              L"\\Processor(_Total)\\% Idle Time", L"\\Memory\\Available Bytes",
                              L"\\Memory\\Commit Limit", L"\\Process(*)\\ID Process"};
    PDH_HCOUNTER c[6];
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(0, provider.addCounterW(query, paths[i], 0, &c[i]));
    }
    ASSERT_EQ(0, provider.collectQueryData(query));
    // Burn a little processor time so that the interval has ticks in it.
    volatile double x = 0;
    for (int i = 0; i < 30000000; ++i) {
        x = x + i;
    }
    ASSERT_EQ(0, provider.collectQueryData(query));
    double sum = 0;
    double v[5];
    for (int i = 0; i < 5; ++i) {
        PDH_FMT_COUNTERVALUE value{};
        ASSERT_EQ(0, provider.getFormattedCounterValue(c[i], PDH_FMT_DOUBLE, nullptr, &value)) << i;
        v[i] = value.doubleValue;
        sum += i < 3 ? v[i] : 0;
    }
    EXPECT_NEAR(100.0, sum, 5.0);  // steal time is in none of the three
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    double totalKb = 0;
    meminfo >> key >> totalKb;
    meminfo.close();
    ASSERT_EQ("MemTotal:", key);
    EXPECT_GT(v[3], 0.0);
    EXPECT_LT(v[3], totalKb * 1024);
    EXPECT_GE(v[4], totalKb * 1024);

    DWORD size = 0, count = 0;
    ASSERT_EQ(static_cast<PDH_STATUS>(PDH_MORE_DATA),
              provider.getFormattedCounterArrayW(c[5], PDH_FMT_DOUBLE, &size, &count, nullptr));
    std::vector<char> buffer(size);
    auto* items = reinterpret_cast<PPDH_FMT_COUNTERVALUE_ITEM_W>(buffer.data());
    ASSERT_EQ(0, provider.getFormattedCounterArrayW(c[5], PDH_FMT_DOUBLE, &size, &count, items));
    EXPECT_GT(count, 2u);
    EXPECT_DOUBLE_EQ(1.0, items[0].FmtValue.doubleValue);  // init, lowest pid

    // The files kept open for the next collect are closed with the last query.
    EXPECT_GT(openFiles(), filesBefore + count);
    ASSERT_EQ(0, provider.closeQuery(query));
    EXPECT_EQ(filesBefore, openFiles());
}

}  // namespace
