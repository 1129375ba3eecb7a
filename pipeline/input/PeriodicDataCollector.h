#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "eventloop/Timeout.h"
#include "pdh/PdhApi.h"
#include "pipeline/input/CounterEntry.h"
#include "pipeline/input/PerfmonOptions.h"

// The timer of one collection: its own PDH query and counters, sampled at
// every tick on the loop's thread. A wildcard collection also picks up
// instances that appear while it runs.
class PeriodicDataCollector : public PeriodicTimeout {
public:
    // Opens the query. The query is never closed: collectors live as long as the run.
    PeriodicDataCollector(const std::wstring& collectionName, const std::wstring& category, std::uint32_t mode,
                          std::int64_t interval, bool wildcard,
                          const std::map<std::wstring, std::int32_t>& knownInstances,
                          const std::vector<std::wstring>& counterNames);

    void onTimeout() override { tick(); }
    // One sample; rescans a wildcard collection's instances first.
    virtual void tick();

    // Adds entry to the query and keeps it with the collection's name,
    // category and mode; false (logged) if PDH refuses it.
    bool addCounter(CounterEntry entry);

    void setOptions(const PerfmonOptions* value) { options = value; }
    // Where events go; standard output but for tests.
    void setOutput(std::FILE* value) { out = value; }

    std::int64_t getInterval() const { return interval; }
    const std::vector<CounterEntry>& getEntries() const { return entries; }
    const std::map<std::wstring, std::int32_t>& getKnownInstances() const { return knownInstances; }

private:
    const PerfmonOptions* options = nullptr;
    PDH_HQUERY query = nullptr;
    std::int64_t interval = 0;
    std::vector<CounterEntry> entries;
    std::wstring collectionName;
    std::wstring category;
    std::uint32_t mode = 1;
    bool wildcard = false;
    std::map<std::wstring, std::int32_t> knownInstances;
    std::vector<std::wstring> counterNames;
    std::FILE* out = stdout;
};
