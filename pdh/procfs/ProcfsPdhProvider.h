#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "pdh/PdhBuffers.h"
#include "pdh/PdhCounterPath.h"
#include "pdh/PdhProvider.h"
#include "pdh/procfs/ProcfsObjects.h"

// PDH's objects made from /proc and /sys: Processor, Memory, LogicalDisk,
// PhysicalDisk, Network Interface, Process, System and Paging File, with PDH's
// names, units and behaviour. A collect reads each source its query needs
// once, whatever the number of counters on it; values are worked out from the
// last two collects when they are read. Rates answer PDH_INVALID_DATA until an
// instance has two samples; an instance that is gone, or whose file can't be
// read, fails its read.
class ProcfsPdhProvider : public PdhProvider {
public:
    struct Options {
        std::string root = "/";     // where /proc and /sys are found
        double ticksPerSecond = 0;  // unit of process times; 0: the system's
        std::wstring machine;       // the local machine's name; empty: the host's
    };

    explicit ProcfsPdhProvider(Options options);
    ~ProcfsPdhProvider() override;

    PDH_STATUS openQueryA(LPCSTR dataSource, DWORD_PTR userData, PDH_HQUERY* query) override;
    PDH_STATUS closeQuery(PDH_HQUERY query) override;
    PDH_STATUS addCounterW(PDH_HQUERY query, LPCWSTR fullCounterPath, DWORD_PTR userData,
                           PDH_HCOUNTER* counter) override;
    PDH_STATUS collectQueryData(PDH_HQUERY query) override;
    PDH_STATUS getFormattedCounterValue(PDH_HCOUNTER counter, DWORD format, LPDWORD type,
                                        PPDH_FMT_COUNTERVALUE value) override;
    PDH_STATUS getFormattedCounterArrayW(PDH_HCOUNTER counter, DWORD format, LPDWORD bufferSize, LPDWORD itemCount,
                                         PPDH_FMT_COUNTERVALUE_ITEM_W items) override;
    PDH_STATUS enumObjectsW(LPCWSTR dataSource, LPCWSTR machineName, LPWSTR objectList, LPDWORD bufferSize,
                            DWORD detailLevel, WINBOOL refresh) override;
    PDH_STATUS enumObjectsA(LPCSTR dataSource, LPCSTR machineName, LPSTR objectList, LPDWORD bufferSize,
                            DWORD detailLevel, WINBOOL refresh) override;
    PDH_STATUS enumObjectItemsW(LPCWSTR dataSource, LPCWSTR machineName, LPCWSTR objectName, LPWSTR counterList,
                                LPDWORD counterListLength, LPWSTR instanceList, LPDWORD instanceListLength,
                                DWORD detailLevel, DWORD flags) override;
    PDH_STATUS parseCounterPathW(LPCWSTR fullPath, PPDH_COUNTER_PATH_ELEMENTS_W elements, LPDWORD bufferSize,
                                 DWORD flags) override;
    PDH_STATUS validatePathW(LPCWSTR fullPath) override;
    PDH_STATUS getCounterInfoW(PDH_HCOUNTER counter, BOOLEAN retrieveExplainText, LPDWORD bufferSize,
                               PPDH_COUNTER_INFO_W info) override;
    PDH_STATUS browseCountersW(PPDH_BROWSE_DLG_CONFIG_W config) override;

private:
    struct Query;
    struct Counter;

    bool isLocalMachine(const std::wstring& machine) const;
    const ProcfsObjectDef* findObject(const std::wstring& name) const;
    Query* findQuery(PDH_HQUERY handle) const;
    Counter* findCounter(PDH_HCOUNTER handle) const;
    // Parses path and finds its object and counter; a PDH status on failure.
    PDH_STATUS resolve(const std::wstring& path, Counter& counter) const;
    // A fresh listing of object's instances.
    const ProcfsSample& listInstances(const ProcfsObjectDef& object);
    // Marks what each process must have read beyond its stat for q's counters.
    void markProcessNeeds(Query& q, ProcfsSample& sample);
    // The array items of counter for its query's last collect.
    void fillItems(Counter& counter);

    Options options;
    ProcfsContext context;
    ProcfsSampler sampler;
    ProcfsSample listing;
    ProcfsSample nothing;  // the earlier sample of a listing
    std::vector<std::unique_ptr<Query>> queries;
    std::unordered_set<const void*> counters;
    std::vector<std::size_t> byName;  // process positions by name, rebuilt each collect
    const ProcfsObjectDef* sizedObject = nullptr;  // of the last enumeration that answered "more data"
    std::vector<std::wstring> sizedInstances;      // and the instances it measured
};
