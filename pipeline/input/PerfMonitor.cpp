#include "pipeline/input/PerfMonitor.h"

#include "logging/Logger.h"
#include "pipeline/input/PerfmonLog.h"
#include "pipeline/input/PerfmonHelper.h"

namespace {

Logger& logger = perfmonLogger;

// Items between ";" separators, untrimmed, empty ones kept; none for an empty string.
std::vector<std::wstring> splitItems(const std::wstring& text)
{
    std::vector<std::wstring> items;
    if (text.empty()) {
        return items;
    }
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = text.find(L';', begin);
        items.push_back(text.substr(begin, end == std::wstring::npos ? std::wstring::npos : end - begin));
        if (end == std::wstring::npos) {
            return items;
        }
        begin = end + 1;
    }
}

Str chooseIndex(const CollectionConfig& collection, const PerfmonOptions& options)
{
    if (!collection.index.empty() && !collection.index.equalsNoCase(StrSegment("default"))) {
        return collection.index;
    }
    return options.index;
}

// Takes the collectors off the loop however the run ends, so none is left
// queued when it is destroyed.
struct Unschedule {
    EventLoop& loop;
    std::vector<std::unique_ptr<PeriodicDataCollector>>& collectors;
    ~Unschedule()
    {
        for (auto& collector : collectors) {
            loop.remove(*collector);
        }
    }
};

// Never reachable from a configuration (intervals are whole seconds), but an
// interval of an unsigned -1 is refused all the same.
constexpr std::int64_t INVALID_INTERVAL = 4294967295LL;

}  // namespace

PerfMonitor::PerfMonitor(PerfmonOptions* options) : options(options) {}

bool PerfMonitor::init()
{
    if (!configure()) {
        logError(logger, "%s: Failed to configure Performance Monitor", "PerfMonitor::init");
        return false;
    }
    return true;
}

bool PerfMonitor::configure()
{
    // The perfmon stanzas of the configuration store become collections here
    // once the store is part of the build; until then collections are handed in.
    return true;
}

void PerfMonitor::addCollection(const std::wstring& collectionName, const std::wstring& category, std::uint32_t mode,
                                std::int64_t interval, bool wildcard,
                                const std::map<std::wstring, std::int32_t>& knownInstances,
                                const std::vector<std::wstring>& counterNames,
                                const std::vector<CounterEntry>& entries,
                                std::vector<std::unique_ptr<PeriodicDataCollector>>& collectors)
{
    auto collector = std::make_unique<PeriodicDataCollector>(collectionName, category, mode, interval, wildcard,
                                                             knownInstances, counterNames);
    collector->setOutput(out);
    for (const CounterEntry& entry : entries) {
        if (collector->addCounter(entry)) {
            logDebug(logger, "Adding collection '%s' with counter - '%s' to periodic collector.\n",
                     Str::fromWide(collectionName).c_str(), Str::fromWide(entry.path).c_str());
        }
    }
    if (collector->getEntries().empty()) {
        logDebug(logger, "Did not add any counter, counter list is empty.\n");
        return;
    }
    collectors.push_back(std::move(collector));
}

bool PerfMonitor::start()
{
    if (options->test != 0) {
        logError(logger, "%s: The object dump of -test is not part of this build", "PerfMonitor::start");
        return false;
    }
    if (options->useConfFile != 1) {
        logError(logger, "%s: The counter browser of -showui is not part of this build", "PerfMonitor::start");
        return false;
    }

    std::vector<std::unique_ptr<PeriodicDataCollector>> collectors;
    std::vector<CounterEntry> list;
    for (CollectionConfig* collection : collections) {
        list.clear();
        if (collection == nullptr || collection->skipped != 0) {
            continue;
        }
        const std::wstring& object = collection->object;
        if (!PerfmonHelper::isObjectValid(object)) {
            logError(logger, "The object specified - '%s' in stanza - '%s' in conf file is not valid.",
                     Str::fromWide(object).c_str(), Str::fromWide(collection->name).c_str());
            continue;
        }

        std::vector<std::wstring> instanceItems;
        if (collection->instances.empty()) {
            logDebug(logger, "No instances are specified for %s, assuming instances = *",
                     Str::fromWide(object).c_str());
            instanceItems.push_back(L"*");
        } else {
            instanceItems = splitItems(collection->instances);
        }
        if (collection->counters.empty()) {
            continue;
        }
        const std::vector<std::wstring> counterItems = splitItems(collection->counters);

        // The whole string, not an item, decides whether new instances are looked for.
        const bool wildcard = collection->instances == L"*";
        std::map<std::wstring, std::int32_t> knownInstances;
        if (wildcard) {
            PerfmonHelper::getAllInstances(object, knownInstances);
        } else {
            for (const std::wstring& item : instanceItems) {
                knownInstances[item] = 1;
            }
        }
        std::vector<std::wstring> counterNames;
        if (collection->counters == L"*") {
            PerfmonHelper::getAllCounters(object, counterNames);
            if (counterNames.empty()) {
                continue;
            }
        } else {
            counterNames = counterItems;
        }

        for (const std::wstring& instance : instanceItems) {
            for (const std::wstring& counter : counterItems) {
                if (instance.empty() || counter.empty()) {
                    continue;
                }
                if (instance == L"*" || counter == L"*") {
                    PerfmonHelper::addWildCardToList(collection->host,
                                                     PerfmonHelper::buildCounterPath(object, instance, counter), list);
                } else {
                    PerfmonHelper::addCounterToList(object, instance, counter, list);
                }
            }
        }

        std::int64_t interval = collection->interval;
        if (interval == INVALID_INTERVAL) {
            logError(logger, "Perfmon - invalid interval specified %d, Ignoring this query", -1);
            continue;
        }
        if (interval == 0) {
            interval = 1000;
        }
        const Str index = chooseIndex(*collection, *options);
        for (CounterEntry& entry : list) {
            entry.index = index;
        }
        addCollection(collection->name, collection->category, collection->mode, interval, wildcard, knownInstances,
                      counterNames, list, collectors);
    }

    if (collectors.empty()) {
        logDebug(logger, "Nothing to monitor, exiting...");
        return false;
    }
    Unschedule unschedule{eventLoop, collectors};
    for (auto& collector : collectors) {
        collector->setOptions(options);
        eventLoop.schedule(*collector, static_cast<std::uint64_t>(collector->getInterval()));
    }
    eventLoop.run();
    return true;
}

void PerfMonitor::stop()
{
    eventLoop.stop();
}
