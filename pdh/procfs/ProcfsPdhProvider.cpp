#include "pdh/procfs/ProcfsPdhProvider.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "foundation/Str.h"

namespace {


const std::string TOTAL = "_Total";

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// "*" for any run of characters; the rest compared without regard to ASCII case.
bool globMatches(const std::string& pattern, const std::string& name)
{
    return pdhGlobMatches(pattern, name, lower);
}

std::wstring widen(const std::string& s)
{
    std::wstring out;
    Str::appendUtf8(out, s.data(), s.size());
    return out;
}

// The instance as written between the parentheses, "#k" cut off. Instance names
// here are mount points, file names and process names, which hold "/": the
// path grammar's parent part doesn't apply.
std::wstring instanceText(const std::wstring& fullPath, const PdhCounterPath& path)
{
    const bool hasMachine = fullPath.size() > 1 && fullPath[1] == L'\\';
    const std::size_t open = (hasMachine ? path.machine.size() + 1 : 1) + path.object.size();
    const std::size_t close = fullPath.rfind(L")\\");
    std::wstring inner = fullPath.substr(open + 1, close - open - 1);
    if (path.index != 0 || (inner.size() > 2 && inner.compare(inner.size() - 2, 2, L"#0") == 0)) {
        inner.erase(inner.rfind(L'#'));
    }
    return inner;
}

std::wstring hostName()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') {
        return L"localhost";
    }
    return widen(name);
}

}  // namespace

struct ProcfsPdhProvider::Counter {
    Query* query = nullptr;
    const ProcfsObjectDef* object = nullptr;
    std::size_t index = 0;  // of the counter in its object
    std::wstring fullPath;
    PdhCounterPath path;
    std::wstring instance;  // as written, "#k" cut off
    ProcfsInstanceRef ref;
    bool wildcard = false;
    std::uint64_t addedAt = 0;  // the query's collect count when added
    std::uint64_t itemsAt = 0;  // the collect the items were made for, plus one
    std::vector<PdhArrayItem> items;  // [0, itemCount) are this collect's; the rest keep their names' room
    std::size_t itemCount = 0;

    const ProcfsCounterDef& def() const { return object->counters[index]; }
};

struct ProcfsPdhProvider::Query {
    std::vector<std::unique_ptr<Counter>> counters;
    unsigned sources = 0;
    std::uint64_t collects = 0;
    ProcfsSample samples[2];
    const ProcfsSample& current() const { return samples[collects % 2]; }
    const ProcfsSample& previous() const { return samples[(collects + 1) % 2]; }
};

ProcfsPdhProvider::ProcfsPdhProvider(Options o) : options(std::move(o)), sampler(options.root)
{
    if (options.machine.empty()) {
        options.machine = hostName();
    }
    if (options.machine.rfind(L"\\\\", 0) != 0) {
        options.machine = L"\\\\" + options.machine;
    }
    context.ticksPerSecond =
        options.ticksPerSecond > 0 ? options.ticksPerSecond : static_cast<double>(::sysconf(_SC_CLK_TCK));
}

ProcfsPdhProvider::~ProcfsPdhProvider() = default;

bool ProcfsPdhProvider::isLocalMachine(const std::wstring& machine) const
{
    return machine.empty() || pdhNameEquals(machine, options.machine) || pdhNameEquals(machine, L"\\\\localhost") ||
           machine == L"\\\\.";
}

const ProcfsObjectDef* ProcfsPdhProvider::findObject(const std::wstring& name) const
{
    std::size_t count = 0;
    const ProcfsObjectDef* objects = procfsObjects(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (pdhNameEquals(objects[i].name, name)) {
            return &objects[i];
        }
    }
    return nullptr;
}

ProcfsPdhProvider::Query* ProcfsPdhProvider::findQuery(PDH_HQUERY handle) const
{
    return pdhFindOwned(queries, handle);
}

ProcfsPdhProvider::Counter* ProcfsPdhProvider::findCounter(PDH_HCOUNTER handle) const
{
    return counters.count(handle) != 0 ? static_cast<Counter*>(handle) : nullptr;
}

PDH_STATUS ProcfsPdhProvider::resolve(const std::wstring& fullPath, Counter& c) const
{
    c.fullPath = fullPath;
    if (!c.path.parse(fullPath, options.machine)) {
        return pdhStatus(PDH_CSTATUS_BAD_COUNTERNAME);
    }
    if (!isLocalMachine(c.path.machine)) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    c.object = findObject(c.path.object);
    if (c.object == nullptr) {
        return pdhStatus(PDH_CSTATUS_NO_OBJECT);
    }
    c.index = c.object->counterCount;
    for (std::size_t i = 0; i < c.object->counterCount; ++i) {
        if (pdhNameEquals(c.object->counters[i].name, c.path.counter)) {
            c.index = i;
        }
    }
    if (c.index == c.object->counterCount) {
        return pdhStatus(PDH_CSTATUS_NO_COUNTER);
    }
    // An object with instances needs one; one without takes none.
    if (c.path.hasInstance != c.object->hasInstances) {
        return pdhStatus(PDH_CSTATUS_NO_INSTANCE);
    }
    if (c.path.hasInstance) {
        c.instance = instanceText(fullPath, c.path);
        c.ref.name = Str::fromWide(c.instance);
        c.ref.index = c.path.index;
        c.ref.total = c.object->hasTotal && procfsNameEquals(c.ref.name, TOTAL) && c.ref.index == 0;
        c.wildcard = c.instance.find(L'*') != std::wstring::npos;
    }
    return 0;
}

const ProcfsSample& ProcfsPdhProvider::listInstances(const ProcfsObjectDef& object)
{
    listing.sources = procfsInstanceSources(object);
    sampler.readSystem(listing, nothing);
    if (listing.sources & SOURCE_PROCESSES) {
        sampler.listProcesses(listing);
    }
    return listing;
}

PDH_STATUS ProcfsPdhProvider::openQueryA(LPCSTR /*dataSource*/, DWORD_PTR /*userData*/, PDH_HQUERY* query)
{
    if (query == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    queries.push_back(std::make_unique<Query>());
    *query = queries.back().get();
    return 0;
}

PDH_STATUS ProcfsPdhProvider::closeQuery(PDH_HQUERY query)
{
    const auto it = std::find_if(queries.begin(), queries.end(), [&](const auto& q) { return q.get() == query; });
    if (it == queries.end()) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    for (const auto& c : (*it)->counters) {
        counters.erase(c.get());
    }
    queries.erase(it);
    if (queries.empty()) {
        sampler.release();
    }
    return 0;
}

PDH_STATUS ProcfsPdhProvider::addCounterW(PDH_HQUERY query, LPCWSTR fullCounterPath, DWORD_PTR /*userData*/,
                                          PDH_HCOUNTER* counter)
{
    Query* q = findQuery(query);
    if (q == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (fullCounterPath == nullptr || counter == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    auto c = std::make_unique<Counter>();
    const PDH_STATUS s = resolve(fullCounterPath, *c);
    if (s != 0) {
        return s;
    }
    c->query = q;
    c->addedAt = q->collects;
    q->sources |= c->def().sources;
    *counter = c.get();
    counters.insert(c.get());
    q->counters.push_back(std::move(c));
    return 0;
}

void ProcfsPdhProvider::markProcessNeeds(Query& q, ProcfsSample& s)
{
    // Positions of the processes by name, each name's in ascending pid: the
    // n-th of a name is found without a walk over every process, which a
    // collection of every process by name would do once per counter.
    const auto nameLess = [&](const std::string& a, const std::string& b) {
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                            [&](char x, char y) { return lower(x) < lower(y); });
    };
    byName.clear();
    bool indexed = false;
    unsigned everyone = 0;
    for (const auto& c : q.counters) {
        const unsigned details = c->def().sources & (SOURCE_PROC_STATUS | SOURCE_PROC_IO | SOURCE_PROC_FD);
        if (details == 0 || c->object->id != ProcfsObjectId::Process) {
            continue;
        }
        if (c->ref.total || c->ref.name == "*") {
            everyone |= details;
            continue;
        }
        if (c->wildcard) {
            for (std::size_t i = 0; i < s.processes.count; ++i) {
                ProcfsProcess& p = s.processes.entries[i];
                p.need |= globMatches(c->ref.name, p.name) ? details : 0u;
            }
            continue;
        }
        if (!indexed) {
            for (std::size_t i = 0; i < s.processes.count; ++i) {
                byName.push_back(i);
            }
            std::stable_sort(byName.begin(), byName.end(), [&](std::size_t a, std::size_t b) {
                return nameLess(s.processes.entries[a].name, s.processes.entries[b].name);
            });
            indexed = true;
        }
        const auto first = std::lower_bound(byName.begin(), byName.end(), c->ref.name,
                                            [&](std::size_t i, const std::string& name) {
                                                return nameLess(s.processes.entries[i].name, name);
                                            });
        const auto at = first + std::min<std::ptrdiff_t>(c->ref.index, byName.end() - first);
        if (at != byName.end() && procfsNameEquals(s.processes.entries[*at].name, c->ref.name)) {
            s.processes.entries[*at].need |= details;
        }
    }
    for (std::size_t i = 0; i < s.processes.count; ++i) {
        ProcfsProcess& p = s.processes.entries[i];
        p.need |= everyone;
        if (p.need != 0) {
            sampler.readProcessDetails(p);
        }
    }
}

PDH_STATUS ProcfsPdhProvider::collectQueryData(PDH_HQUERY query)
{
    Query* q = findQuery(query);
    if (q == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (q->counters.empty()) {
        return pdhStatus(PDH_NO_DATA);
    }
    ++q->collects;
    ProcfsSample& s = q->samples[q->collects % 2];
    s.sources = q->sources;
    sampler.readSystem(s, q->previous());
    if (s.sources & (SOURCE_PROCESSES | SOURCE_PID_COUNT)) {
        sampler.readProcesses(s);
        markProcessNeeds(*q, s);
    }
    return 0;
}

PDH_STATUS ProcfsPdhProvider::getFormattedCounterValue(PDH_HCOUNTER counter, DWORD format, LPDWORD type,
                                                       PPDH_FMT_COUNTERVALUE value)
{
    Counter* c = findCounter(counter);
    const PDH_STATUS begun = pdhBeginValueRead(c != nullptr, c != nullptr && c->def().rate, c != nullptr && c->wildcard,
                                               format, type, value);
    if (begun != 0) {
        return begun;
    }
    const Query& q = *c->query;
    const std::uint64_t samples = q.collects - c->addedAt;
    if (samples == 0 || (c->def().rate && samples < 2)) {
        value->CStatus = PDH_CSTATUS_INVALID_DATA;
        return pdhStatus(PDH_INVALID_DATA);
    }
    double v = 0;
    switch (procfsValue(*c->object, c->index, c->ref, q.current(), q.previous(), context, v)) {
    case ProcfsResult::Ok:
        value->CStatus = PDH_CSTATUS_VALID_DATA;
        value->doubleValue = v;
        return 0;
    case ProcfsResult::NoInstance:
        value->CStatus = PDH_CSTATUS_NO_INSTANCE;
        return pdhStatus(PDH_INVALID_DATA);
    case ProcfsResult::Invalid:
        break;
    }
    value->CStatus = PDH_CSTATUS_INVALID_DATA;
    return pdhStatus(PDH_INVALID_DATA);
}

void ProcfsPdhProvider::fillItems(Counter& c)
{
    const Query& q = *c.query;
    c.itemCount = 0;
    const auto add = [&](const std::string& name, const ProcfsInstanceRef& ref) {
        if (c.itemCount == c.items.size()) {
            // As the rows of a sample: room for most names from the start.
            c.items.emplace_back().name.reserve(NAME_ROOM);
        }
        PdhArrayItem& item = c.items[c.itemCount++];
        item.name.clear();
        Str::appendUtf8(item.name, name.data(), name.size());
        double v = 0;
        const bool ok = procfsValue(*c.object, c.index, ref, q.current(), q.previous(), context, v) ==
                        ProcfsResult::Ok;
        item.status = ok ? PDH_CSTATUS_VALID_DATA : PDH_CSTATUS_INVALID_DATA;
        item.value = ok ? v : 0.0;
    };
    if (!c.object->hasInstances) {
        add(std::string(), c.ref);
        return;
    }
    const ProcfsSample& s = q.current();
    const std::size_t count = procfsInstanceCount(*c.object, s);
    ProcfsInstanceRef at;
    unsigned seen = 0;
    for (std::size_t i = 0; i < count && !c.ref.total; ++i) {
        const std::string& name = procfsInstanceName(*c.object, s, i);
        if (c.wildcard ? globMatches(c.ref.name, name) : procfsNameEquals(name, c.ref.name) && seen++ == c.ref.index) {
            at.position = i;
            add(name, at);
        }
    }
    if (c.object->hasTotal && (c.ref.total || (c.wildcard && globMatches(c.ref.name, TOTAL)))) {
        at.position = ProcfsInstanceRef::BY_NAME;
        at.total = true;
        add(TOTAL, at);
    }
}

PDH_STATUS ProcfsPdhProvider::getFormattedCounterArrayW(PDH_HCOUNTER counter, DWORD format, LPDWORD bufferSize,
                                                        LPDWORD itemCount, PPDH_FMT_COUNTERVALUE_ITEM_W items)
{
    Counter* c = findCounter(counter);
    if (c == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (bufferSize == nullptr || itemCount == nullptr || (format & PDH_FMT_DOUBLE) == 0) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    const std::uint64_t samples = c->query->collects - c->addedAt;
    if (samples == 0 || (c->def().rate && samples < 2)) {
        return pdhStatus(PDH_INVALID_DATA);
    }
    // Worked out once a collect: the sizing call and the reading call see the same items.
    if (c->itemsAt != c->query->collects + 1) {
        fillItems(*c);
        c->itemsAt = c->query->collects + 1;
    }
    if (c->itemCount == 0) {
        return pdhStatus(PDH_NO_DATA);
    }
    return pdhWriteCounterArray(c->items.data(), c->itemCount, bufferSize, itemCount, items);
}

PDH_STATUS ProcfsPdhProvider::enumObjectsW(LPCWSTR /*dataSource*/, LPCWSTR machineName, LPWSTR objectList,
                                           LPDWORD bufferSize, DWORD /*detailLevel*/, WINBOOL /*refresh*/)
{
    if (bufferSize == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    if (machineName != nullptr && !isLocalMachine(machineName)) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    std::size_t count = 0;
    const ProcfsObjectDef* objects = procfsObjects(count);
    std::vector<std::wstring> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.emplace_back(objects[i].name);
    }
    return pdhWriteMultiString(names, objectList, bufferSize);
}

PDH_STATUS ProcfsPdhProvider::enumObjectsA(LPCSTR /*dataSource*/, LPCSTR machineName, LPSTR objectList,
                                           LPDWORD bufferSize, DWORD /*detailLevel*/, WINBOOL /*refresh*/)
{
    if (machineName != nullptr && !isLocalMachine(widen(machineName))) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    std::size_t count = 0;
    const ProcfsObjectDef* objects = procfsObjects(count);
    std::string list;
    for (std::size_t i = 0; i < count; ++i) {
        list += Str::fromWide(objects[i].name);
        list.push_back('\0');
    }
    list.push_back('\0');
    // Called with no buffer at all only to refresh the list, as PDH allows.
    if (bufferSize == nullptr || objectList == nullptr || *bufferSize < list.size()) {
        if (bufferSize != nullptr) {
            *bufferSize = static_cast<DWORD>(list.size());
        }
        return pdhStatus(PDH_MORE_DATA);
    }
    std::memcpy(objectList, list.data(), list.size());
    *bufferSize = static_cast<DWORD>(list.size());
    return 0;
}

PDH_STATUS ProcfsPdhProvider::enumObjectItemsW(LPCWSTR /*dataSource*/, LPCWSTR machineName, LPCWSTR objectName,
                                               LPWSTR counterList, LPDWORD counterListLength, LPWSTR instanceList,
                                               LPDWORD instanceListLength, DWORD /*detailLevel*/, DWORD /*flags*/)
{
    if (objectName == nullptr || counterListLength == nullptr || instanceListLength == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    if (machineName != nullptr && !isLocalMachine(machineName)) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    const ProcfsObjectDef* o = findObject(objectName);
    if (o == nullptr) {
        return pdhStatus(PDH_CSTATUS_NO_OBJECT);
    }
    std::vector<std::wstring> counterNames, instanceNames;
    for (std::size_t i = 0; i < o->counterCount; ++i) {
        counterNames.emplace_back(o->counters[i].name);
    }
    // A call with buffers after a sizing call for the same object fills them
    // from the listing that was measured: processes that came in between would
    // otherwise outgrow the buffers, and the caller's two calls would fail.
    const bool measured = counterList != nullptr && sizedObject == o;
    sizedObject = nullptr;
    if (o->hasInstances && measured) {
        instanceNames.swap(sizedInstances);
    } else if (o->hasInstances) {
        const ProcfsSample& s = listInstances(*o);
        const std::size_t count = procfsInstanceCount(*o, s);
        for (std::size_t i = 0; i < count; ++i) {
            instanceNames.push_back(widen(procfsInstanceName(*o, s, i)));
        }
        if (o->hasTotal) {
            instanceNames.push_back(widen(TOTAL));
        }
    }
    const std::size_t counterNeeded = pdhMultiStringLength(counterNames);
    // An object without instances answers an instance length of 0.
    const std::size_t instanceNeeded = o->hasInstances ? pdhMultiStringLength(instanceNames) : 0;
    const bool counterRoom = counterList != nullptr && *counterListLength >= counterNeeded;
    const bool instanceRoom = instanceNeeded == 0 || (instanceList != nullptr && *instanceListLength >= instanceNeeded);
    if (!counterRoom || !instanceRoom) {
        *counterListLength = static_cast<DWORD>(counterNeeded);
        *instanceListLength = static_cast<DWORD>(instanceNeeded);
        sizedObject = o;
        sizedInstances.swap(instanceNames);
        return pdhStatus(PDH_MORE_DATA);
    }
    pdhWriteMultiString(counterNames, counterList, counterListLength);
    if (instanceNeeded != 0) {
        pdhWriteMultiString(instanceNames, instanceList, instanceListLength);
    } else {
        *instanceListLength = 0;
    }
    return 0;
}

PDH_STATUS ProcfsPdhProvider::parseCounterPathW(LPCWSTR fullPath, PPDH_COUNTER_PATH_ELEMENTS_W elements,
                                                LPDWORD bufferSize, DWORD /*flags*/)
{
    if (fullPath == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    PdhCounterPath path;
    if (!path.parse(fullPath, options.machine)) {
        return pdhStatus(PDH_INVALID_PATH);
    }
    return path.toElements(elements, bufferSize);
}

PDH_STATUS ProcfsPdhProvider::validatePathW(LPCWSTR fullPath)
{
    if (fullPath == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    Counter c;
    const PDH_STATUS s = resolve(fullPath, c);
    if (s != 0 || !c.object->hasInstances || c.ref.total) {
        return s;
    }
    const ProcfsSample& listed = listInstances(*c.object);
    const std::size_t count = procfsInstanceCount(*c.object, listed);
    unsigned seen = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (procfsNameEquals(procfsInstanceName(*c.object, listed, i), c.ref.name) && seen++ == c.ref.index) {
            return 0;
        }
    }
    return pdhStatus(PDH_CSTATUS_NO_INSTANCE);
}

PDH_STATUS ProcfsPdhProvider::getCounterInfoW(PDH_HCOUNTER counter, BOOLEAN retrieveExplainText, LPDWORD bufferSize,
                                              PPDH_COUNTER_INFO_W info)
{
    Counter* c = findCounter(counter);
    if (c == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    PdhCounterInfoText text;
    text.fullPath = c->fullPath;
    text.machine = c->path.machine;
    text.object = c->object->name;
    text.hasInstance = c->path.hasInstance;
    text.instance = c->instance;
    if (c->path.index != 0) {
        text.instance += L'#' + std::to_wstring(c->path.index);
    }
    text.counter = c->def().name;
    text.hasExplain = retrieveExplainText != 0;
    text.explain = c->def().explain;
    return pdhWriteCounterInfo(text, c->def().rate ? PDH_TYPE_RATE : PDH_TYPE_RAW, bufferSize, info);
}

PDH_STATUS ProcfsPdhProvider::browseCountersW(PPDH_BROWSE_DLG_CONFIG_W /*config*/)
{
    // There is no dialog to show: the person always cancels.
    return pdhStatus(PDH_DIALOG_CANCELLED);
}
