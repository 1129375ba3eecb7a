#include "pipeline/input/ResultToMultikvStdout.h"

#include <algorithm>

#include "logging/Logger.h"
#include "pipeline/input/PerfmonLog.h"

namespace {

Logger& logger = perfmonLogger;

constexpr char SOURCE_PREFIX[] = "PerfmonMk";

// Names in the table have no blanks or commas, which the reader splits on.
void appendClean(Str& out, const Str& name)
{
    for (char c : name) {
        out += (c == ' ' || c == ',') ? '_' : c;
    }
}

}  // namespace

void ResultToMultikvStdout::addResult(const CounterEntry& entry, const double* value, const Str& timestamp)
{
    if (!header.started) {
        header.index = entry.index;
        header.collection = Str::fromWide(entry.collection);
        header.object = Str::fromWide(entry.object);
        header.category = Str::fromWide(entry.category);
        header.mode = entry.mode;
        header.timestamp = timestamp;
        header.started = true;
    }
    Str counter = Str::fromWide(entry.counter);
    if (std::find(header.columns.begin(), header.columns.end(), counter) == header.columns.end()) {
        header.columns.push_back(counter);
    }
    Str rowName = entry.instance.empty() ? Str("0") : Str::fromWide(entry.instance);
    Cell& cell = rows[rowName][counter];
    cell.rowName = rowName;
    cell.value.clear();
    cell.value.appendFormat("%.20g", *value);
}

void ResultToMultikvStdout::completeOutput()
{
    if (!header.started) {
        logDebug(logger, "%s: Empty event", "ResultToMultikvStdout::completeOutput");
        return;
    }
    Str event;
    event.reserve(512);
    event += "***TOLVIK*** index=";
    event += header.index;
    event += " source=\"";
    event += SOURCE_PREFIX;
    event += ':';
    event += header.collection;
    event += "\" sourcetype=\"";
    event += SOURCE_PREFIX;
    event += ':';
    event += header.collection;
    event += "\"\n";
    event += PERFMON_EVENT_MARKER;
    event += header.timestamp;
    event += "collection=";
    appendClean(event, header.collection);
    event += "\ncategory=";
    appendClean(event, header.category.empty() ? header.collection : header.category);
    event += "\nobject=";
    appendClean(event, header.object);
    event += "\ninstance";
    for (const Str& column : header.columns) {
        event += '\t';
        appendClean(event, column);
    }
    event += "\t\n";
    for (const auto& [rowName, cells] : rows) {
        appendClean(event, rowName);
        for (const Str& column : header.columns) {
            event += '\t';
            auto cell = cells.find(column);
            if (cell == cells.end()) {
                event += "error";
            } else {
                event += cell->second.value;
            }
        }
        event += "\t\n";
    }
    event += '\n';
    event += PERFMON_EVENT_MARKER;

    // Write failures go unnoticed.
    std::fwrite(event.data(), 1, event.size(), out);
    std::fflush(out);
}
