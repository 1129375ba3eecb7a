#include "pipeline/input/PeriodicDataCollector.h"

#include "logging/Logger.h"
#include "pipeline/input/PerfmonLog.h"
#include "pipeline/input/PerfmonCollect.h"
#include "pipeline/input/PerfmonHelper.h"

namespace {

Logger& logger = perfmonLogger;

}  // namespace

PeriodicDataCollector::PeriodicDataCollector(const std::wstring& collectionName, const std::wstring& category,
                                             std::uint32_t mode, std::int64_t interval, bool wildcard,
                                             const std::map<std::wstring, std::int32_t>& knownInstances,
                                             const std::vector<std::wstring>& counterNames)
    : query(PerfmonHelper::initQueryHandle()),
      interval(interval),
      collectionName(collectionName),
      category(category),
      mode(mode),
      wildcard(wildcard),
      knownInstances(knownInstances),
      counterNames(counterNames)
{
}

bool PeriodicDataCollector::addCounter(CounterEntry entry)
{
    if (!PerfmonHelper::addPdhCounter(query, entry)) {
        logError(logger, "Perfmon - Invalid counter - %s", Str::fromWide(entry.path).c_str());
        return false;
    }
    entry.collection = collectionName;
    entry.category = category;
    entry.mode = mode;
    entries.push_back(std::move(entry));
    return true;
}

void PeriodicDataCollector::tick()
{
    if (entries.empty()) {
        logError(logger, "Counter list is empty in method %s", "PeriodicDataCollector::tick");
        return;
    }
    // The object is the same in every entry of a collection.
    const std::wstring object = entries.front().object;
    const Str index = entries.front().index;
    const std::wstring entryCategory = entries.front().category;
    const std::uint32_t entryMode = entries.front().mode;

    if (wildcard) {
        std::map<std::wstring, std::int32_t> fresh;
        PerfmonHelper::getAllInstances(object, fresh);
        // Instances that went away stay known, so one that returns is not added twice.
        for (auto it = fresh.begin(); it != fresh.end();) {
            it = knownInstances.count(it->first) != 0 ? fresh.erase(it) : std::next(it);
        }
        for (const auto& [instance, one] : fresh) {
            knownInstances[instance] = 1;
        }
        for (const auto& [instance, one] : fresh) {
            for (const std::wstring& counter : counterNames) {
                CounterEntry entry;
                entry.index = index;
                entry.counter = counter;
                entry.instance = instance;
                entry.object = object;
                entry.category = entryCategory;
                entry.mode = entryMode;
                entry.path = PerfmonHelper::buildCounterPath(object, instance, counter);
                logDebug(logger, "\nQuerying the following performance counter not originally present - %s\n",
                         Str::fromWide(entry.path).c_str());
                addCounter(std::move(entry));
            }
        }
    }

    PerfmonHelper::collectQueryData(options, query, entries, out);
}
