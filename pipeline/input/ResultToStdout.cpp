#include "pipeline/input/ResultToStdout.h"

namespace {

// A name with a blank goes between double quotes; nothing inside is escaped.
void appendQuoted(Str& out, const std::wstring& name)
{
    const bool quote = name.find(L' ') != std::wstring::npos;
    if (quote) {
        out += '"';
    }
    out.appendWide(name);
    if (quote) {
        out += '"';
    }
}

}  // namespace

void ResultToStdout::addResult(const CounterEntry& entry, const double* value, const Str& timestamp)
{
    Str event;
    event.reserve(256);
    event += "***TOLVIK*** index=";
    event += entry.index;
    event += " source=\"Perfmon:";
    event.appendWide(entry.collection);
    event += "\" sourcetype=\"Perfmon:";
    event.appendWide(entry.collection);
    event += "\"\n";
    event += PERFMON_EVENT_MARKER;
    event += timestamp;
    event += "collection=";
    appendQuoted(event, entry.collection);
    event += "\nobject=";
    appendQuoted(event, entry.object);
    event += "\ncounter=";
    appendQuoted(event, entry.counter);
    event += '\n';
    if (!entry.instance.empty()) {
        event += "instance=";
        appendQuoted(event, entry.instance);
        event += '\n';
    }
    event.appendFormat("Value=%.20g\n\n", *value);
    event += PERFMON_EVENT_MARKER;

    // Write failures go unnoticed: the tick goes on.
    std::fwrite(event.data(), 1, event.size(), out);
    std::fflush(out);
}
