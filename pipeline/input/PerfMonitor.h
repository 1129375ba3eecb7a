#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "eventloop/EventLoop.h"
#include "pipeline/input/CollectionConfig.h"
#include "pipeline/input/CounterEntry.h"
#include "pipeline/input/PerfmonOptions.h"
#include "pipeline/input/PeriodicDataCollector.h"

// One run of collection: the collections become timers on one event loop,
// which runs on the thread that calls start.
class PerfMonitor {
public:
    // options is not owned and must outlive the monitor.
    explicit PerfMonitor(PerfmonOptions* options);
    PerfMonitor(const PerfMonitor&) = delete;
    PerfMonitor& operator=(const PerfMonitor&) = delete;

    // Reads the collections; false (logged) if that fails.
    bool init();
    bool configure();
    // Blocks until stop. True after a normal run, false if nothing could be monitored.
    bool start();
    // Any thread.
    void stop();

    EventLoop& getEventLoop() { return eventLoop; }
    // In order; null entries and skipped ones are passed over. Not freed by the monitor.
    std::vector<CollectionConfig*>& getCollections() { return collections; }
    // Where events go; standard output but for tests.
    void setOutput(std::FILE* value) { out = value; }

    // A collector for the entries, appended to collectors unless PDH took none of them.
    void addCollection(const std::wstring& collectionName, const std::wstring& category, std::uint32_t mode,
                       std::int64_t interval, bool wildcard, const std::map<std::wstring, std::int32_t>& knownInstances,
                       const std::vector<std::wstring>& counterNames, const std::vector<CounterEntry>& entries,
                       std::vector<std::unique_ptr<PeriodicDataCollector>>& collectors);

private:
    PerfmonOptions* options;
    std::vector<CollectionConfig*> collections;
    EventLoop eventLoop;
    std::FILE* out = stdout;
};
