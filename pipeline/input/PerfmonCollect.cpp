#include "pipeline/input/PerfmonCollect.h"

#include <cstdlib>

#include "logging/Logger.h"
#include "pipeline/input/PerfmonLog.h"
#include "pipeline/input/PerfmonHelper.h"
#include "pipeline/input/ResultToMultikvStdout.h"
#include "pipeline/input/ResultToStdout.h"
#include "platform/OsError.h"

namespace {

Logger& logger = perfmonLogger;

// Paths go to DEBUG lines on every tick: convert them only when those are wanted.
bool debugging()
{
    return logger.isEnabled(LOG_LEVEL_DEBUG);
}

Str utf8(const std::wstring& text)
{
    return Str::fromWide(text);
}

// Values of a multi-instance counter. True if a buffer was allocated, which
// finishes the entry; false leaves status (of the sizing call) to the caller.
// noMemory reports that the whole tick must end.
bool readArray(const CounterEntry& copy, IResultOutput& output, const Str& timestamp, PDH_STATUS& status,
               bool& noMemory)
{
    DWORD size = 0;
    DWORD count = 0;
    status = pdh::PdhGetFormattedCounterArrayW(copy.handle, PDH_FMT_DOUBLE, &size, &count, nullptr);
    if (debugging()) {
        logDebug(logger, "\nPdhGetFormattedCounterArrayW returned 0x%x  %d %d for counter '%s'.\n", pdhCode(status),
                 static_cast<int>(size), static_cast<int>(count), utf8(copy.path).c_str());
    }
    if (!pdhIs(status, PDH_MORE_DATA)) {
        return false;
    }
    size += 1024;
    auto* items = static_cast<PDH_FMT_COUNTERVALUE_ITEM_W*>(std::malloc(size));
    if (items == nullptr) {
        noMemory = true;
        return true;
    }
    status = pdh::PdhGetFormattedCounterArrayW(copy.handle, PDH_FMT_DOUBLE, &size, &count, items);
    if (debugging()) {
        logDebug(logger, "\nPdhGetFormattedCounterArrayW returned 0x%x %d %d for counter '%s'.\n", pdhCode(status),
                 static_cast<int>(size), static_cast<int>(count), utf8(copy.path).c_str());
    }
    if (status == 0) {
        // Every item goes out under the configured instance, unfiltered, with
        // empty counter and index: the long-standing form of these events.
        CounterEntry item;
        item.collection = copy.collection;
        item.category = copy.category;
        item.mode = copy.mode;
        item.object = copy.object;
        item.instance = copy.instance;
        for (DWORD i = 0; i < count; ++i) {
            item.handle = reinterpret_cast<PDH_HCOUNTER>(items[i].szName);
            output.addResult(item, &items[i].FmtValue.doubleValue, timestamp);
            if (debugging()) {
                logDebug(logger, "Location 1 Calling result handler to display values for counter '%s'",
                         utf8(copy.path).c_str());
            }
        }
    }
    std::free(items);
    return true;
}

}  // namespace

namespace PerfmonHelper {

Str formatTimestamp(const platform::LocalTime& time, std::int32_t bias, std::int32_t daylightBias)
{
    const int zone = -(bias + daylightBias) / 60;
    Str out;
    out.format("\n%2.2d/%2.2d/%4.4d %2.2d:%2.2d:%2.2d.%3.3d %+.2d00\n", time.month, time.day, time.year, time.hour,
               time.minute, time.second, time.milliseconds, zone);
    return out;
}

void collectQueryData(const PerfmonOptions* options, PDH_HQUERY query, const std::vector<CounterEntry>& entries,
                      std::FILE* out)
{
    const PerfmonOptions defaults;
    if (options == nullptr) {
        options = &defaults;
    }
    ResultToStdout single(out);
    ResultToMultikvStdout table(out);
    IResultOutput* output = &single;

    std::int32_t bias = 0;
    std::int32_t daylightBias = 0;
    if (!platform::localZoneBias(bias, daylightBias)) {
        logError(logger, "%s: GetTimeZoneInformation failed with status (0x%x) .\n", "PerfmonHelper::collectQueryData",
                 static_cast<unsigned>(platform::lastOsError()));
        return;
    }
    // One timestamp for the whole tick, taken before the sample.
    const Str timestamp = formatTimestamp(platform::localTimeNow(), bias, daylightBias);

    const PDH_STATUS collected = pdh::PdhCollectQueryData(query);
    if (pdhIs(collected, PDH_NO_DATA)) {
        for (const CounterEntry& entry : entries) {
            logDebug(logger, "No data has been collected for query for object '%s'.\n", utf8(entry.path).c_str());
        }
        return;
    }
    if (collected != 0) {
        logError(logger, "%s: PdhCollectQueryData failed with status (0x%x) for counter '%s'.\n",
                 "PerfmonHelper::collectQueryData", pdhCode(collected),
                 entries.empty() ? "" : utf8(entries.front().path).c_str());
        return;
    }

    if (!entries.empty() && entries.front().mode == 1) {
        output = &table;
    }

    for (const CounterEntry& entry : entries) {
        DWORD type = 0;
        PDH_FMT_COUNTERVALUE value{};
        PDH_STATUS status = pdh::PdhGetFormattedCounterValue(entry.handle, PDH_FMT_DOUBLE, &type, &value);
        if (pdhIs(status, PDH_INVALID_ARGUMENT) || pdhIs(status, PDH_CSTATUS_INVALID_DATA)) {
            bool noMemory = false;
            const bool finished = readArray(entry, *output, timestamp, status, noMemory);
            if (noMemory) {
                output->completeOutput();
                return;
            }
            if (finished) {
                continue;
            }
        }

        if (pdhIs(status, PDH_INVALID_DATA) || pdhIs(status, PDH_NO_DATA)) {
            if (debugging()) {
                logDebug(logger, "%s: PdhGetFormattedCounterValue for counter '%s' returned status (0x%x): %s",
                         "PerfmonHelper::collectQueryData", utf8(entry.path).c_str(), pdhCode(status),
                         getPdhErr(status).c_str());
            }
            continue;
        }
        if (status != 0 && !pdhIs(status, PDH_CALC_NEGATIVE_VALUE)) {
            logError(logger, "%s: PdhGetFormattedCounterValue for counter '%s' failed with status (0x%x): %s",
                     "PerfmonHelper::collectQueryData", utf8(entry.path).c_str(), pdhCode(status),
                     getPdhErr(status).c_str());
            continue;
        }

        const double v = value.doubleValue;
        if (output->isTable() == 0) {
            if (options->showZero == 0 && v == 0.0) {
                continue;
            }
            // An entry's lastValue is never updated (the long-standing
            // behaviour): this compares with 0.0 and so drops the zeros.
            if (options->displayIfChanged != 0 && v == entry.lastValue) {
                continue;
            }
        }
        output->addResult(entry, &v, timestamp);
        if (debugging()) {
            logDebug(logger, "Location 2 Calling result handler to display values for counter '%s'",
                     utf8(entry.path).c_str());
        }
    }
    output->completeOutput();
}

}  // namespace PerfmonHelper
