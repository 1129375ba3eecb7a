#include "pipeline/input/PerfmonHelper.h"

#include <cstdlib>
#include <memory>

#include "logging/Logger.h"
#include "pipeline/input/PerfmonLog.h"
#include "pdh/PdhMessage.h"
#include "platform/OsError.h"

namespace {

Logger& logger = perfmonLogger;

Str utf8(const std::wstring& text)
{
    return Str::fromWide(text);
}

// Zeroed memory that may fail to come, as PDH's callers must expect.
struct ZeroedBuffer {
    std::unique_ptr<char, decltype(&std::free)> memory{nullptr, &std::free};

    bool allocate(std::size_t bytes)
    {
        memory.reset(static_cast<char*>(std::calloc(bytes == 0 ? 1 : bytes, 1)));
        return memory != nullptr;
    }
    template <typename T>
    T* as() const
    {
        return reinterpret_cast<T*>(memory.get());
    }
};

// The counter and instance lists of an object, read by the two-call idiom.
struct ObjectItems {
    std::wstring machine;
    std::wstring object;
    DWORD counterSize = 0;
    DWORD instanceSize = 0;
    std::vector<wchar_t> counters;
    std::vector<wchar_t> instances;

    ObjectItems(const std::wstring& machine, const std::wstring& object) : machine(machine), object(object) {}

    // The sizing call; anything but PDH_MORE_DATA is a failure.
    PDH_STATUS size()
    {
        counterSize = 0;
        instanceSize = 0;
        return pdh::PdhEnumObjectItemsW(nullptr, machineArg(), object.c_str(), nullptr, &counterSize, nullptr,
                                        &instanceSize, PerfmonHelper::DETAIL_LEVEL, 0);
    }

    // Two spare characters keep the double zero in place whatever PDH writes;
    // a failed call leaves both lists empty.
    PDH_STATUS read()
    {
        counters.assign(counterSize + 2, L'\0');
        instances.assign(instanceSize + 2, L'\0');
        DWORD cs = counterSize + 2;
        DWORD is = instanceSize + 2;
        const PDH_STATUS s = pdh::PdhEnumObjectItemsW(nullptr, machineArg(), object.c_str(), counters.data(), &cs,
                                                      instances.data(), &is, PerfmonHelper::DETAIL_LEVEL, 0);
        if (s != 0) {
            counters.assign(counterSize + 2, L'\0');
            instances.assign(instanceSize + 2, L'\0');
        }
        return s;
    }

    LPCWSTR machineArg() const { return machine.empty() ? nullptr : machine.c_str(); }
};

// Calls f for each name of a double-zero-terminated list, up to the first empty one.
template <typename F>
void forEachName(const std::vector<wchar_t>& list, F f)
{
    const wchar_t* p = list.data();
    const wchar_t* end = list.data() + list.size();
    while (p < end && *p != L'\0') {
        std::wstring name(p);
        p += name.size() + 1;
        f(name);
    }
}

// PDH lists repeated instance names as they are; the second and later get "#1", "#2"...
std::wstring numbered(std::map<std::wstring, int>& seen, const std::wstring& name)
{
    auto it = seen.find(name);
    if (it == seen.end()) {
        seen[name] = 1;
        return name;
    }
    std::wstring out = name + L"#" + std::to_wstring(it->second);
    ++it->second;
    return out;
}

void trimLeading(std::wstring& s)
{
    Str::trimLeft(s);
}

std::wstring formatPath(const std::wstring& object, const std::wstring& instance, const std::wstring& counter)
{
    if (instance.empty()) {
        return L"\\" + object + L"\\" + counter;
    }
    return L"\\" + object + L"(" + instance + L")\\" + counter;
}

// Splits a full counter path with PDH. The first status is that of the sizing call.
struct ParsedPath {
    ZeroedBuffer buffer;
    PDH_STATUS firstStatus = 0;
    bool noMemory = false;
    PDH_STATUS status = 0;

    PDH_COUNTER_PATH_ELEMENTS_W* elements() const { return buffer.as<PDH_COUNTER_PATH_ELEMENTS_W>(); }

    bool parse(const std::wstring& path)
    {
        DWORD size = 0;
        firstStatus = pdh::PdhParseCounterPathW(path.c_str(), nullptr, &size, 0);
        status = firstStatus;
        if (!pdhIs(firstStatus, PDH_MORE_DATA)) {
            return false;
        }
        if (!buffer.allocate(size)) {
            noMemory = true;
            return false;
        }
        status = pdh::PdhParseCounterPathW(path.c_str(), elements(), &size, 0);
        return status == 0;
    }
};

bool present(LPCWSTR text)
{
    return text != nullptr && *text != L'\0';
}

}  // namespace

namespace PerfmonHelper {

Str getPdhErr(const PDH_STATUS& status)
{
    const DWORD value = static_cast<DWORD>(status);
    if (!isPdhOwnStatus(value)) {
        return errorString(value);
    }
    std::wstring text;
    switch (pdhStatusMessage(value, L"<collectionname>", text)) {
    case PdhMessageResult::NoModule:
        logError(logger, "%s: LoadLibrary failed with (%lu): %m", "PerfmonHelper::getPdhErr",
                 static_cast<unsigned long>(platform::lastOsError()));
        return Str();
    case PdhMessageResult::NoMessage:
        logError(logger, "%s: Format message failed with (0x%x): %m", "PerfmonHelper::getPdhErr",
                 static_cast<unsigned>(platform::lastOsError()));
        return Str();
    case PdhMessageResult::Ok:
        break;
    }
    return utf8(text);
}

PDH_HQUERY initQueryHandle()
{
    PDH_HQUERY query = nullptr;
    const PDH_STATUS status = pdh::PdhOpenQueryA(nullptr, 0, &query);
    if (status != 0) {
        logError(logger, "%s: PdhOpenQuery failed with status (0x%x): %s", "PerfmonHelper::initQueryHandle",
                 pdhCode(status), getPdhErr(status).c_str());
        return nullptr;
    }
    return query;
}

bool isObjectValid(const std::wstring& object)
{
    ObjectItems items(std::wstring(), object);
    return !pdhIs(items.size(), PDH_CSTATUS_NO_OBJECT);
}

bool enumObjectNames(const std::wstring& machine, std::vector<Str>& out)
{
    LPCWSTR machineArg = machine.empty() ? nullptr : machine.c_str();
    DWORD size = 0;
    PDH_STATUS status = pdh::PdhEnumObjectsW(nullptr, machineArg, nullptr, &size, DETAIL_LEVEL, 1);
    if (!pdhIs(status, PDH_MORE_DATA)) {
        logError(logger, "%s: PdhEnumObjects failed with (0x%x): %s", "PerfmonHelper::enumObjectNames", pdhCode(status),
                 getPdhErr(status).c_str());
        return false;
    }
    std::vector<wchar_t> list(size + 2, L'\0');
    size += 2;
    status = pdh::PdhEnumObjectsW(nullptr, machineArg, list.data(), &size, DETAIL_LEVEL, 0);
    if (status != 0) {
        // The stray "%0x" takes the status once more, so that the arguments line up.
        logError(logger, "%s: Second PdhEnumObjectItems failed with (%0x%x): %s", "PerfmonHelper::enumObjectNames",
                 pdhCode(status), pdhCode(status), getPdhErr(status).c_str());
        return false;
    }
    forEachName(list, [&](const std::wstring& name) { out.push_back(utf8(name)); });
    return true;
}

std::wstring buildCounterPath(std::wstring object, std::wstring instance, std::wstring counter)
{
    if (object.empty() || counter.empty()) {
        return std::wstring();
    }
    trimLeading(instance);
    trimLeading(counter);
    return formatPath(object, instance, counter);
}

void addCounterToList(const std::wstring& object, std::wstring instance, std::wstring counter,
                      std::vector<CounterEntry>& list)
{
    CounterEntry entry;
    if (!counter.empty()) {
        if (!instance.empty()) {
            trimLeading(instance);
            trimLeading(counter);
        }
        entry.path = formatPath(object, instance, counter);
        entry.object = object;
        entry.counter = counter;
        entry.instance = instance;
        list.push_back(std::move(entry));
        return;
    }

    // A full path, as the browse dialog gives one.
    ParsedPath parsed;
    const bool ok = parsed.parse(object);
    if (parsed.noMemory) {
        logError(logger, "%s - HeapAlloc failed for counter '%s'.\n", "PerfmonHelper::addCounterToList",
                 utf8(object).c_str());
        return;
    }
    if (!ok || !present(parsed.elements()->szObjectName) || !present(parsed.elements()->szCounterName)) {
        logError(logger,
                 "PdhParseCounterPath returned error 0x%x or there are no counters to be monitored for '%s'.\n",
                 pdhCode(parsed.status), utf8(object).c_str());
        return;
    }
    const PDH_COUNTER_PATH_ELEMENTS_W* e = parsed.elements();
    entry.path = object;
    entry.object = e->szObjectName;
    entry.counter = e->szCounterName;
    entry.instance = e->szInstanceName != nullptr ? e->szInstanceName : L"";
    list.push_back(std::move(entry));
}

void addWildCardToList(const std::wstring& /*host*/, const std::wstring& path, std::vector<CounterEntry>& list)
{
    ParsedPath parsed;
    const bool ok = parsed.parse(path);
    if (!pdhIs(parsed.firstStatus, PDH_MORE_DATA) || parsed.noMemory) {
        return;
    }
    const PDH_COUNTER_PATH_ELEMENTS_W* e = parsed.elements();
    if (!ok || !present(e->szMachineName) || !present(e->szObjectName) || !present(e->szCounterName)) {
        logError(logger, "%s - PdhParseCounterPath returned error 0x%x for counter '%s'.\n",
                 "PerfmonHelper::addWildCardToList", ok ? 0u : pdhCode(parsed.status), utf8(path).c_str());
        return;
    }
    enumObjectByNameEx(e->szMachineName, e->szObjectName, e->szCounterName,
                       e->szInstanceName != nullptr ? e->szInstanceName : L"", list);
}

void getAllCounters(const std::wstring& object, std::vector<std::wstring>& out)
{
    if (object.empty()) {
        return;
    }
    ObjectItems items(std::wstring(), object);
    PDH_STATUS status = items.size();
    if (!pdhIs(status, PDH_MORE_DATA)) {
        logError(logger, "PdhEnumObjectItems returned error 0x%x for object %s.\n", pdhCode(status),
                 utf8(object).c_str());
        return;
    }
    status = items.read();
    if (status != 0) {
        logError(logger, "PdhEnumObjectItems failed with error 0x%x for '%s'.\n", pdhCode(status), utf8(object).c_str());
    }
    forEachName(items.counters, [&](const std::wstring& name) { out.push_back(name); });
}

void getAllInstances(const std::wstring& object, std::map<std::wstring, std::int32_t>& out)
{
    if (object.empty()) {
        return;
    }
    // Refreshing the system's list is what lets instances that appeared since the start be seen.
    PDH_STATUS status = pdh::PdhEnumObjectsA(nullptr, nullptr, nullptr, nullptr, DETAIL_LEVEL, 1);
    if (status != 0 && !pdhIs(status, PDH_MORE_DATA)) {
        logDebug(logger, "\n%s - PdhEnumObjects returned 0x%x", "PerfmonHelper::getAllInstances", pdhCode(status));
        return;
    }
    ObjectItems items(std::wstring(), object);
    status = items.size();
    if (!pdhIs(status, PDH_MORE_DATA)) {
        logError(logger, "PdhEnumObjectItems returned error 0x%x for object '%s'.\n", pdhCode(status),
                 utf8(object).c_str());
        return;
    }
    status = items.read();
    if (status != 0) {
        logError(logger, "PdhEnumObjectItems failed with error 0x%x for '%s.\n'", pdhCode(status), utf8(object).c_str());
    }
    std::map<std::wstring, int> seen;
    forEachName(items.instances, [&](const std::wstring& name) { out[numbered(seen, name)] = 1; });
}

void enumObjectByNameEx(const std::wstring& machine, const std::wstring& object, std::wstring counter,
                        std::wstring instance, std::vector<CounterEntry>& list)
{
    ObjectItems items(machine, object);
    PDH_STATUS status = items.size();
    if (!pdhIs(status, PDH_MORE_DATA)) {
        logError(logger, "%s: PdhEnumObjectItems failed for object - '%s' with error (0x%x): %s",
                 "PerfmonHelper::enumObjectByNameEx", utf8(object).c_str(), pdhCode(status), getPdhErr(status).c_str());
        return;
    }
    status = items.read();
    if (status != 0) {
        logError(logger, "%s: Second PdhEnumObjectItems failed for object - '%s' with error (%0x%x): %s",
                 "PerfmonHelper::enumObjectByNameEx", utf8(object).c_str(), pdhCode(status), pdhCode(status),
                 getPdhErr(status).c_str());
        return;
    }
    if (counter == L"*") {
        counter.clear();
    }
    if (instance == L"*") {
        instance.clear();
    }
    bool done = false;
    forEachName(items.counters, [&](const std::wstring& name) {
        if (done) {
            return;
        }
        // A named counter is taken as it is, without a check that the object has it.
        const std::wstring& current = counter.empty() ? name : counter;
        if (!instance.empty()) {
            addCounterToList(object, instance, current, list);
        } else if (items.instanceSize == 0) {
            addCounterToList(object, std::wstring(), current, list);
        } else {
            std::map<std::wstring, int> seen;
            forEachName(items.instances, [&](const std::wstring& inst) {
                addCounterToList(object, numbered(seen, inst), current, list);
            });
        }
        done = !counter.empty();
    });
}

bool enumObjectByNameEx(const std::wstring& machine, const std::wstring& object, std::vector<Str>& counters,
                        std::vector<Str>& instances)
{
    ObjectItems items(machine, object);
    PDH_STATUS status = items.size();
    if (!pdhIs(status, PDH_MORE_DATA)) {
        logError(logger, "%s: PdhEnumObjectItems failed for '%s' with (0x%x): %s", "PerfmonHelper::enumObjectByNameEx",
                 utf8(object).c_str(), pdhCode(status), getPdhErr(status).c_str());
        return false;
    }
    status = items.read();
    if (status != 0) {
        logError(logger, "%s: Second PdhEnumObjectItems failed for '%s'with (%0x%x): %s",
                 "PerfmonHelper::enumObjectByNameEx", utf8(object).c_str(), pdhCode(status), pdhCode(status),
                 getPdhErr(status).c_str());
        return false;
    }
    forEachName(items.counters, [&](const std::wstring& name) { counters.push_back(utf8(name)); });
    std::map<std::wstring, int> seen;
    forEachName(items.instances, [&](const std::wstring& name) { instances.push_back(utf8(numbered(seen, name))); });
    return true;
}

bool isWildcardPath(const std::wstring& path)
{
    if (path.find(L"(*)") != std::wstring::npos || path.find(L"\\*") != std::wstring::npos) {
        return true;
    }
    if (pdh::PdhValidatePathW(path.c_str()) == 0) {
        return false;
    }
    ParsedPath parsed;
    if (!parsed.parse(path)) {
        return false;
    }
    const PDH_COUNTER_PATH_ELEMENTS_W* e = parsed.elements();
    const auto hasStar = [](LPCWSTR text) { return std::wstring(text).find(L'*') != std::wstring::npos; };
    return !present(e->szCounterName) || hasStar(e->szCounterName) || !present(e->szInstanceName) ||
           hasStar(e->szInstanceName);
}

bool addPdhCounter(PDH_HQUERY query, CounterEntry& entry)
{
    PDH_HCOUNTER counter = nullptr;
    PDH_STATUS status = pdh::PdhAddCounterW(query, entry.path.c_str(), 0, &counter);
    if (status == 0) {
        entry.handle = counter;
        return true;
    }
    // Read as an array of all instances instead; the entry keeps its own path and instance.
    const std::wstring wildcard = L"\\" + entry.object + L"(*)\\" + entry.counter;
    status = pdh::PdhAddCounterW(query, wildcard.c_str(), 0, &counter);
    if (status == 0) {
        entry.handle = counter;
        return true;
    }
    logError(logger, "Unable to add counter '%s'  error 0x%x\n", utf8(wildcard).c_str(), pdhCode(status));
    return false;
}

Str getCounterDescription(PDH_HCOUNTER counter)
{
    DWORD size = 0;
    PDH_STATUS status = pdh::PdhGetCounterInfoW(counter, 1, &size, nullptr);
    if (!pdhIs(status, PDH_MORE_DATA)) {
        return Str();
    }
    ZeroedBuffer buffer;
    if (!buffer.allocate(size)) {
        return Str();
    }
    auto* info = buffer.as<PDH_COUNTER_INFO_W>();
    status = pdh::PdhGetCounterInfoW(counter, 1, &size, info);
    if (status != 0) {
        logError(logger, "Perfmon could not get description for counter, error %m");
        return Str();
    }
    return info->szExplainText != nullptr ? utf8(info->szExplainText) : Str();
}

}  // namespace PerfmonHelper
