#include "pdh/ScriptedPdhProvider.h"

#include "pdh/PdhBuffers.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "foundation/Str.h"
#include "pdh/PdhCounterPath.h"

namespace {


constexpr const char* FUNCTIONS[] = {
    "PdhOpenQueryA",        "PdhCloseQuery",      "PdhAddCounterW",
    "PdhCollectQueryData",  "PdhGetFormattedCounterValue", "PdhGetFormattedCounterArrayW",
    "PdhEnumObjectsW",      "PdhEnumObjectsA",    "PdhEnumObjectItemsW",
    "PdhParseCounterPathW", "PdhValidatePathW",   "PdhGetCounterInfoW",
    "PdhBrowseCountersW",
};

std::string trim(const std::string& s)
{
    const std::size_t b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) {
        return std::string();
    }
    return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

std::wstring widen(const std::string& s)
{
    std::wstring out;
    Str::appendUtf8(out, s.data(), s.size());
    return out;
}

bool parseNumber(const std::string& text, double& out)
{
    if (text.empty()) {
        return false;
    }
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size();
}

bool parseCount(const std::string& text, std::uint64_t& out)
{
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    errno = 0;
    out = std::strtoull(text.c_str(), nullptr, 10);
    return errno == 0;
}

bool parseStatus(const std::string& text, DWORD& out)
{
    if (text.empty() || text[0] == '-') {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || end != text.c_str() + text.size() || v > 0xFFFFFFFFull) {
        return false;
    }
    out = static_cast<DWORD>(v);
    return true;
}

// "keyword rest" of a field: the first word and what follows it, trimmed.
void splitWord(const std::string& field, std::string& word, std::string& rest)
{
    const std::size_t blank = field.find_first_of(" \t");
    word = field.substr(0, blank);
    rest = blank == std::string::npos ? std::string() : trim(field.substr(blank));
}

bool parseValue(const std::string& field, ScriptedPdhProvider::Value& value, std::string& problem)
{
    std::string word, rest;
    splitWord(field, word, rest);
    value = ScriptedPdhProvider::Value();
    if (word == "seq" || word == "linear") {
        value.kind = word == "seq" ? ScriptedPdhProvider::Value::Sequence : ScriptedPdhProvider::Value::Linear;
        value.numbers.clear();
        std::size_t pos = 0;
        while (pos < rest.size()) {
            const std::size_t end = std::min(rest.find_first_of(" \t", pos), rest.size());
            double d;
            if (!parseNumber(rest.substr(pos, end - pos), d)) {
                problem = "bad number \"" + rest.substr(pos, end - pos) + "\" in " + word;
                return false;
            }
            value.numbers.push_back(d);
            pos = rest.find_first_not_of(" \t", end);
            pos = pos == std::string::npos ? rest.size() : pos;
        }
        if (value.numbers.empty() || (value.kind == ScriptedPdhProvider::Value::Linear && value.numbers.size() != 2)) {
            problem = word == "seq" ? "seq needs at least one number" : "linear needs two numbers, A and B";
            return false;
        }
        return true;
    }
    if (!parseNumber(field, value.numbers[0])) {
        problem = "bad value \"" + field + "\" (a number, seq X Y ..., or linear A B)";
        return false;
    }
    return true;
}

// Splits "name#k" as it addresses the k-th instance of a name.
void splitInstanceRef(const std::wstring& ref, std::wstring& name, DWORD& index)
{
    name = ref;
    index = 0;
    const std::size_t hash = ref.rfind(L'#');
    if (hash == std::wstring::npos || hash + 1 == ref.size()) {
        return;
    }
    for (std::size_t i = hash + 1; i < ref.size(); ++i) {
        if (ref[i] < L'0' || ref[i] > L'9') {
            return;
        }
    }
    index = static_cast<DWORD>(std::wcstoul(ref.c_str() + hash + 1, nullptr, 10));
    name = ref.substr(0, hash);
}

// Writes names as a double-zero-terminated list, or answers the length needed.
template <typename Char>
std::size_t multiStringLength(const std::vector<std::basic_string<Char>>& names)
{
    std::size_t n = 1;
    for (const auto& name : names) {
        n += name.size() + 1;
    }
    return std::max<std::size_t>(n, 2);
}

template <typename Char>
void writeMultiString(const std::vector<std::basic_string<Char>>& names, Char* out, std::size_t capacity)
{
    std::fill(out, out + capacity, Char(0));
    Char* p = out;
    for (const auto& name : names) {
        std::copy(name.begin(), name.end(), p);
        p += name.size() + 1;
    }
}

}  // namespace

struct ScriptedPdhProvider::CounterHandle {
    Query* query = nullptr;
    const Object* object = nullptr;
    const Counter* counter = nullptr;
    std::wstring fullPath;
    PdhCounterPath path;
    bool wildcard = false;  // the instance holds a "*": read as an array only
    std::uint64_t lastCollect = 0;
    std::uint64_t previousCollect = 0;
};

struct ScriptedPdhProvider::Query {
    std::list<std::unique_ptr<CounterHandle>> counters;
};

double ScriptedPdhProvider::Value::at(std::uint64_t collect) const
{
    switch (kind) {
    case Sequence:
        return numbers[std::min<std::uint64_t>(collect == 0 ? 0 : collect - 1, numbers.size() - 1)];
    case Linear:
        return numbers[0] + numbers[1] * static_cast<double>(collect);
    case Constant:
        break;
    }
    return numbers[0];
}

std::unique_ptr<ScriptedPdhProvider> ScriptedPdhProvider::load(const std::string& path, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = path + ": cannot open the PDH script: " + std::strerror(errno);
        return nullptr;
    }
    return load(in, path, error);
}

std::unique_ptr<ScriptedPdhProvider> ScriptedPdhProvider::load(std::istream& in, const std::string& name,
                                                               std::string& error)
{
    std::unique_ptr<ScriptedPdhProvider> p(new ScriptedPdhProvider());
    std::string line;
    std::size_t lineNumber = 0;
    std::string problem;
    while (problem.empty() && std::getline(in, line)) {
        ++lineNumber;
        const std::string text = trim(line);
        if (text.empty() || text[0] == '#') {
            continue;
        }
        std::vector<std::string> fields;
        std::size_t start = 0;
        for (;;) {
            const std::size_t bar = text.find('|', start);
            fields.push_back(trim(text.substr(start, bar == std::string::npos ? std::string::npos : bar - start)));
            if (bar == std::string::npos) {
                break;
            }
            start = bar + 1;
        }
        std::string keyword, argument;
        splitWord(fields[0], keyword, argument);
        Object* object = p->objects.empty() ? nullptr : &p->objects.back();

        if (keyword != "fail" && argument.empty()) {
            problem = "\"" + keyword + "\" needs a name";
        } else if (keyword == "machine") {
            p->machine = L"\\\\" + widen(argument.substr(argument.find_first_not_of('\\')));
            if (fields.size() > 1) {
                problem = "machine takes no options";
            }
        } else if (keyword == "object") {
            if (p->findObject(widen(argument)) != nullptr) {
                problem = "object \"" + argument + "\" declared twice";
                continue;
            }
            Object o;
            o.name = widen(argument);
            for (std::size_t i = 1; i < fields.size() && problem.empty(); ++i) {
                if (fields[i] == "instances") {
                    o.hasInstances = true;
                } else {
                    problem = "unknown object option \"" + fields[i] + "\"";
                }
            }
            p->objects.push_back(std::move(o));
        } else if (object == nullptr && (keyword == "counter" || keyword == "instance" || keyword == "value")) {
            problem = keyword + " before any object";
        } else if (keyword == "counter") {
            Counter c;
            c.name = widen(argument);
            for (std::size_t i = 1; i < fields.size() && problem.empty(); ++i) {
                std::string word, rest;
                splitWord(fields[i], word, rest);
                if (fields[i] == "rate") {
                    c.rate = true;
                } else if (word == "explain") {
                    c.explain = widen(rest);
                } else {
                    parseValue(fields[i], c.value, problem);
                }
            }
            object->counters.push_back(std::move(c));
        } else if (keyword == "instance") {
            Instance inst;
            inst.name = widen(argument);
            for (std::size_t i = 1; i < fields.size() && problem.empty(); ++i) {
                std::string word, rest;
                splitWord(fields[i], word, rest);
                std::uint64_t k = 0;
                if ((word == "from" || word == "until") && parseCount(rest, k)) {
                    (word == "from" ? inst.from : inst.until) = k;
                } else {
                    problem = "bad instance option \"" + fields[i] + "\" (from K or until K)";
                }
            }
            object->instances.push_back(std::move(inst));
            object->hasInstances = true;
        } else if (keyword == "value") {
            Counter* counter = nullptr;
            for (Counter& c : object->counters) {
                if (pdhNameEquals(c.name, widen(argument))) {
                    counter = &c;
                }
            }
            if (counter == nullptr) {
                problem = "value for unknown counter \"" + argument + "\"";
            } else if (fields.size() != 3) {
                problem = "value needs COUNTER | INSTANCE | VALUE";
            } else {
                InstanceValue iv;
                splitInstanceRef(widen(fields[1]), iv.instance, iv.index);
                if (parseValue(fields[2], iv.value, problem)) {
                    counter->perInstance.push_back(std::move(iv));
                }
            }
        } else if (keyword == "fail") {
            Failure f;
            f.function = argument;
            if (std::find_if(std::begin(FUNCTIONS), std::end(FUNCTIONS),
                             [&](const char* fn) { return argument == fn; }) == std::end(FUNCTIONS)) {
                problem = "unknown PDH function \"" + argument + "\"";
            } else if (fields.size() < 2 || !parseStatus(fields.back(), f.status)) {
                problem = "fail needs a status as its last field, e.g. 0xC0000BB8";
            }
            for (std::size_t i = 1; i + 1 < fields.size() && problem.empty(); ++i) {
                std::string word, rest;
                splitWord(fields[i], word, rest);
                if (word == "on" && !rest.empty()) {
                    f.target = widen(rest);
                } else if (!(word == "at" && parseCount(rest, f.at) && f.at > 0)) {
                    problem = "bad fail option \"" + fields[i] + "\" (on TARGET or at K)";
                }
            }
            p->failures.push_back(std::move(f));
        } else {
            problem = "unknown statement \"" + keyword + "\"";
        }
    }
    if (!problem.empty()) {
        error = name + ":" + std::to_string(lineNumber) + ": " + problem;
        return nullptr;
    }
    if (in.bad()) {
        error = name + ": read error";
        return nullptr;
    }
    return p;
}

ScriptedPdhProvider::~ScriptedPdhProvider() = default;

const ScriptedPdhProvider::Object* ScriptedPdhProvider::findObject(const std::wstring& name) const
{
    for (const Object& o : objects) {
        if (pdhNameEquals(o.name, name)) {
            return &o;
        }
    }
    return nullptr;
}

bool ScriptedPdhProvider::isLocalMachine(LPCWSTR name) const
{
    if (name == nullptr || *name == L'\0') {
        return true;
    }
    std::wstring m(name);
    if (m.compare(0, 2, L"\\\\") != 0) {
        m = L"\\\\" + m;
    }
    return pdhNameEquals(m, machine);
}

bool ScriptedPdhProvider::injected(const char* function, const std::wstring& target, std::uint64_t at,
                                   PDH_STATUS& out) const
{
    for (const Failure& f : failures) {
        if (f.function == function && (f.target.empty() || pdhNameEquals(f.target, target)) &&
            (f.at == 0 || f.at == at)) {
            out = pdhStatus(f.status);
            return true;
        }
    }
    return false;
}

ScriptedPdhProvider::Query* ScriptedPdhProvider::findQuery(PDH_HQUERY handle) const
{
    return pdhFindOwned(queries, handle);
}

ScriptedPdhProvider::CounterHandle* ScriptedPdhProvider::findCounter(PDH_HCOUNTER handle) const
{
    for (const auto& q : queries) {
        for (const auto& c : q->counters) {
            if (c.get() == handle) {
                return c.get();
            }
        }
    }
    return nullptr;
}

const ScriptedPdhProvider::Instance* ScriptedPdhProvider::resolveInstance(const CounterHandle& counter) const
{
    // The n-th of the name among those present at the last collect, as the
    // n-th of a name is among the instances that exist; before any collect,
    // among all lines.
    DWORD seen = 0;
    for (const Instance& inst : counter.object->instances) {
        if (pdhNameEquals(inst.name, counter.path.instance) &&
            (counter.lastCollect == 0 || inst.presentAt(counter.lastCollect)) && seen++ == counter.path.index) {
            return &inst;
        }
    }
    return nullptr;
}

double ScriptedPdhProvider::valueOf(const CounterHandle& counter, const Instance* instance,
                                    std::uint64_t collect) const
{
    if (instance != nullptr) {
        DWORD index = 0;
        for (const Instance& inst : counter.object->instances) {
            if (&inst == instance) {
                break;
            }
            index += pdhNameEquals(inst.name, instance->name) ? 1 : 0;
        }
        for (const InstanceValue& iv : counter.counter->perInstance) {
            if (iv.index == index && pdhNameEquals(iv.instance, instance->name)) {
                return iv.value.at(collect);
            }
        }
    }
    return counter.counter->value.at(collect);
}

PDH_STATUS ScriptedPdhProvider::openQueryA(LPCSTR /*dataSource*/, DWORD_PTR /*userData*/, PDH_HQUERY* query)
{
    const std::lock_guard<std::mutex> lock(mutex);
    PDH_STATUS s;
    if (injected("PdhOpenQueryA", std::wstring(), collects, s)) {
        return s;
    }
    if (query == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    queries.push_back(std::make_unique<Query>());
    *query = queries.back().get();
    return 0;
}

PDH_STATUS ScriptedPdhProvider::closeQuery(PDH_HQUERY query)
{
    const std::lock_guard<std::mutex> lock(mutex);
    PDH_STATUS s;
    if (injected("PdhCloseQuery", std::wstring(), collects, s)) {
        return s;
    }
    const auto it = std::find_if(queries.begin(), queries.end(), [&](const auto& q) { return q.get() == query; });
    if (it == queries.end()) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    queries.erase(it);
    return 0;
}

PDH_STATUS ScriptedPdhProvider::addCounterW(PDH_HQUERY query, LPCWSTR fullCounterPath, DWORD_PTR /*userData*/,
                                            PDH_HCOUNTER* counter)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Query* q = findQuery(query);
    if (q == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (fullCounterPath == nullptr || counter == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    auto c = std::make_unique<CounterHandle>();
    c->fullPath = fullCounterPath;
    PDH_STATUS s;
    if (injected("PdhAddCounterW", c->fullPath, collects, s)) {
        return s;
    }
    if (!c->path.parse(c->fullPath, machine)) {
        return pdhStatus(PDH_CSTATUS_BAD_COUNTERNAME);
    }
    if (!isLocalMachine(c->path.machine.c_str())) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    c->object = findObject(c->path.object);
    if (c->object == nullptr) {
        return pdhStatus(PDH_CSTATUS_NO_OBJECT);
    }
    for (const Counter& known : c->object->counters) {
        if (pdhNameEquals(known.name, c->path.counter)) {
            c->counter = &known;
        }
    }
    if (c->counter == nullptr) {
        return pdhStatus(PDH_CSTATUS_NO_COUNTER);
    }
    // A multi-instance object needs an instance; a single one takes none.
    if (c->path.hasInstance != c->object->hasInstances) {
        return pdhStatus(PDH_CSTATUS_NO_INSTANCE);
    }
    c->wildcard = c->path.instance.find(L'*') != std::wstring::npos;
    c->query = q;
    *counter = c.get();
    q->counters.push_back(std::move(c));
    return 0;
}

PDH_STATUS ScriptedPdhProvider::collectQueryData(PDH_HQUERY query)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Query* q = findQuery(query);
    if (q == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    ++collects;
    PDH_STATUS s;
    if (injected("PdhCollectQueryData", std::wstring(), collects, s)) {
        return s;
    }
    if (q->counters.empty()) {
        return pdhStatus(PDH_NO_DATA);
    }
    for (const auto& c : q->counters) {
        c->previousCollect = c->lastCollect;
        c->lastCollect = collects;
    }
    return 0;
}

PDH_STATUS ScriptedPdhProvider::getFormattedCounterValue(PDH_HCOUNTER counter, DWORD format, LPDWORD type,
                                                         PPDH_FMT_COUNTERVALUE value)
{
    const std::lock_guard<std::mutex> lock(mutex);
    CounterHandle* c = findCounter(counter);
    const PDH_STATUS begun = pdhBeginValueRead(c != nullptr, c != nullptr && c->counter->rate, c != nullptr && c->wildcard,
                                               format, type, value);
    if (begun != 0) {
        return begun;
    }
    const Instance* instance = c->object->hasInstances ? resolveInstance(*c) : nullptr;
    const auto present = [&](std::uint64_t collect) {
        return !c->object->hasInstances || (instance != nullptr && instance->presentAt(collect));
    };
    PDH_STATUS s;
    if (injected("PdhGetFormattedCounterValue", c->fullPath, c->lastCollect, s)) {
        value->CStatus = static_cast<DWORD>(s);
        value->doubleValue = valueOf(*c, instance, c->lastCollect);
        return s;
    }
    if (c->lastCollect == 0) {
        value->CStatus = PDH_CSTATUS_INVALID_DATA;
        return pdhStatus(PDH_INVALID_DATA);
    }
    if (!present(c->lastCollect)) {
        value->CStatus = PDH_CSTATUS_NO_INSTANCE;
        return pdhStatus(PDH_INVALID_DATA);
    }
    // A rate needs two samples of the instance.
    if (c->counter->rate && (c->previousCollect == 0 || !present(c->previousCollect))) {
        value->CStatus = PDH_CSTATUS_INVALID_DATA;
        return pdhStatus(PDH_INVALID_DATA);
    }
    value->CStatus = PDH_CSTATUS_VALID_DATA;
    value->doubleValue = valueOf(*c, instance, c->lastCollect);
    return 0;
}

PDH_STATUS ScriptedPdhProvider::getFormattedCounterArrayW(PDH_HCOUNTER counter, DWORD format, LPDWORD bufferSize,
                                                          LPDWORD itemCount, PPDH_FMT_COUNTERVALUE_ITEM_W items)
{
    const std::lock_guard<std::mutex> lock(mutex);
    CounterHandle* c = findCounter(counter);
    if (c == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (bufferSize == nullptr || itemCount == nullptr || (format & PDH_FMT_DOUBLE) == 0) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    PDH_STATUS s;
    if (injected("PdhGetFormattedCounterArrayW", c->fullPath, c->lastCollect, s)) {
        return s;
    }
    if (c->lastCollect == 0 || (c->counter->rate && c->previousCollect == 0)) {
        return pdhStatus(PDH_INVALID_DATA);
    }
    struct Item {
        const Instance* instance;
        std::wstring name;
    };
    std::vector<Item> found;
    if (!c->object->hasInstances) {
        found.push_back({nullptr, std::wstring()});
    } else {
        DWORD seen = 0;
        for (const Instance& inst : c->object->instances) {
            const bool named = c->wildcard ? pdhNameMatches(c->path.instance, inst.name)
                                           : pdhNameEquals(c->path.instance, inst.name) && seen++ == c->path.index;
            if (named && inst.presentAt(c->lastCollect)) {
                found.push_back({&inst, inst.name});
            }
        }
    }
    if (found.empty()) {
        return pdhStatus(PDH_NO_DATA);
    }
    std::size_t needed = found.size() * sizeof(PDH_FMT_COUNTERVALUE_ITEM_W);
    for (const Item& item : found) {
        needed += (item.name.size() + 1) * sizeof(wchar_t);
    }
    *itemCount = static_cast<DWORD>(found.size());
    if (items == nullptr || *bufferSize < needed) {
        *bufferSize = static_cast<DWORD>(needed);
        return pdhStatus(PDH_MORE_DATA);
    }
    auto* text = reinterpret_cast<wchar_t*>(items + found.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        const Item& item = found[i];
        items[i].szName = text;
        std::memcpy(text, item.name.c_str(), (item.name.size() + 1) * sizeof(wchar_t));
        text += item.name.size() + 1;
        const bool fresh = item.instance != nullptr && !item.instance->presentAt(c->previousCollect);
        if (c->counter->rate && fresh) {
            items[i].FmtValue.CStatus = PDH_CSTATUS_INVALID_DATA;
            items[i].FmtValue.doubleValue = 0.0;
        } else {
            items[i].FmtValue.CStatus = PDH_CSTATUS_VALID_DATA;
            items[i].FmtValue.doubleValue = valueOf(*c, item.instance, c->lastCollect);
        }
    }
    *bufferSize = static_cast<DWORD>(needed);
    return 0;
}

PDH_STATUS ScriptedPdhProvider::enumObjectsW(LPCWSTR /*dataSource*/, LPCWSTR machineName, LPWSTR objectList,
                                             LPDWORD bufferSize, DWORD /*detailLevel*/, WINBOOL /*refresh*/)
{
    const std::lock_guard<std::mutex> lock(mutex);
    PDH_STATUS s;
    if (injected("PdhEnumObjectsW", std::wstring(), collects, s)) {
        return s;
    }
    if (bufferSize == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    if (!isLocalMachine(machineName)) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    std::vector<std::wstring> names;
    for (const Object& o : objects) {
        names.push_back(o.name);
    }
    const std::size_t needed = multiStringLength(names);
    if (objectList == nullptr || *bufferSize < needed) {
        *bufferSize = static_cast<DWORD>(needed);
        return pdhStatus(PDH_MORE_DATA);
    }
    writeMultiString(names, objectList, *bufferSize);
    *bufferSize = static_cast<DWORD>(needed);
    return 0;
}

PDH_STATUS ScriptedPdhProvider::enumObjectsA(LPCSTR /*dataSource*/, LPCSTR machineName, LPSTR objectList,
                                             LPDWORD bufferSize, DWORD /*detailLevel*/, WINBOOL /*refresh*/)
{
    const std::lock_guard<std::mutex> lock(mutex);
    PDH_STATUS s;
    if (injected("PdhEnumObjectsA", std::wstring(), collects, s)) {
        return s;
    }
    if (machineName != nullptr && !isLocalMachine(widen(machineName).c_str())) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    std::vector<std::string> names;
    for (const Object& o : objects) {
        names.push_back(Str::fromWide(o.name));
    }
    const std::size_t needed = multiStringLength(names);
    // Called with no buffer at all only to refresh the list, as PDH allows.
    if (bufferSize == nullptr || objectList == nullptr || *bufferSize < needed) {
        if (bufferSize != nullptr) {
            *bufferSize = static_cast<DWORD>(needed);
        }
        return pdhStatus(PDH_MORE_DATA);
    }
    writeMultiString(names, objectList, *bufferSize);
    *bufferSize = static_cast<DWORD>(needed);
    return 0;
}

PDH_STATUS ScriptedPdhProvider::enumObjectItemsW(LPCWSTR /*dataSource*/, LPCWSTR machineName, LPCWSTR objectName,
                                                 LPWSTR counterList, LPDWORD counterListLength, LPWSTR instanceList,
                                                 LPDWORD instanceListLength, DWORD /*detailLevel*/, DWORD /*flags*/)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (objectName == nullptr || counterListLength == nullptr || instanceListLength == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    PDH_STATUS s;
    if (injected("PdhEnumObjectItemsW", objectName, collects, s)) {
        return s;
    }
    if (!isLocalMachine(machineName)) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    const Object* o = findObject(objectName);
    if (o == nullptr) {
        return pdhStatus(PDH_CSTATUS_NO_OBJECT);
    }
    std::vector<std::wstring> counters, instances;
    for (const Counter& c : o->counters) {
        counters.push_back(c.name);
    }
    for (const Instance& inst : o->instances) {
        if (inst.presentAt(collects)) {
            instances.push_back(inst.name);
        }
    }
    const std::size_t counterNeeded = multiStringLength(counters);
    // An object without instances answers an instance length of 0.
    const std::size_t instanceNeeded = o->hasInstances ? multiStringLength(instances) : 0;
    const bool counterRoom = counterList != nullptr && *counterListLength >= counterNeeded;
    const bool instanceRoom = instanceNeeded == 0 || (instanceList != nullptr && *instanceListLength >= instanceNeeded);
    if (!counterRoom || !instanceRoom) {
        *counterListLength = static_cast<DWORD>(counterNeeded);
        *instanceListLength = static_cast<DWORD>(instanceNeeded);
        return pdhStatus(PDH_MORE_DATA);
    }
    writeMultiString(counters, counterList, *counterListLength);
    if (instanceList != nullptr && *instanceListLength > 0) {
        writeMultiString(instances, instanceList, *instanceListLength);
    }
    *counterListLength = static_cast<DWORD>(counterNeeded);
    *instanceListLength = static_cast<DWORD>(instanceNeeded);
    return 0;
}

PDH_STATUS ScriptedPdhProvider::parseCounterPathW(LPCWSTR fullPath, PPDH_COUNTER_PATH_ELEMENTS_W elements,
                                                  LPDWORD bufferSize, DWORD /*flags*/)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (fullPath == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    PDH_STATUS s;
    if (injected("PdhParseCounterPathW", fullPath, collects, s)) {
        return s;
    }
    PdhCounterPath path;
    if (!path.parse(fullPath, machine)) {
        return pdhStatus(PDH_INVALID_PATH);
    }
    return path.toElements(elements, bufferSize);
}

PDH_STATUS ScriptedPdhProvider::validatePathW(LPCWSTR fullPath)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (fullPath == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    PDH_STATUS s;
    if (injected("PdhValidatePathW", fullPath, collects, s)) {
        return s;
    }
    PdhCounterPath path;
    if (!path.parse(fullPath, machine)) {
        return pdhStatus(PDH_CSTATUS_BAD_COUNTERNAME);
    }
    if (!isLocalMachine(path.machine.c_str())) {
        return pdhStatus(PDH_CSTATUS_NO_MACHINE);
    }
    const Object* o = findObject(path.object);
    if (o == nullptr) {
        return pdhStatus(PDH_CSTATUS_NO_OBJECT);
    }
    if (std::none_of(o->counters.begin(), o->counters.end(),
                     [&](const Counter& c) { return pdhNameEquals(c.name, path.counter); })) {
        return pdhStatus(PDH_CSTATUS_NO_COUNTER);
    }
    if (path.hasInstance != o->hasInstances) {
        return pdhStatus(PDH_CSTATUS_NO_INSTANCE);
    }
    if (o->hasInstances) {
        DWORD seen = 0;
        const bool found = std::any_of(o->instances.begin(), o->instances.end(), [&](const Instance& inst) {
            return pdhNameEquals(inst.name, path.instance) && inst.presentAt(collects) && seen++ == path.index;
        });
        if (!found) {
            return pdhStatus(PDH_CSTATUS_NO_INSTANCE);
        }
    }
    return 0;
}

PDH_STATUS ScriptedPdhProvider::getCounterInfoW(PDH_HCOUNTER counter, BOOLEAN retrieveExplainText,
                                                LPDWORD bufferSize, PPDH_COUNTER_INFO_W info)
{
    const std::lock_guard<std::mutex> lock(mutex);
    CounterHandle* c = findCounter(counter);
    if (c == nullptr) {
        return pdhStatus(PDH_INVALID_HANDLE);
    }
    if (bufferSize == nullptr) {
        return pdhStatus(PDH_INVALID_ARGUMENT);
    }
    PDH_STATUS s;
    if (injected("PdhGetCounterInfoW", c->fullPath, collects, s)) {
        return s;
    }
    PdhCounterInfoText text;
    text.fullPath = c->fullPath;
    text.machine = c->path.machine;
    text.object = c->path.object;
    text.hasInstance = c->path.hasInstance;
    text.instance = c->path.fullInstance();
    text.counter = c->path.counter;
    text.hasExplain = retrieveExplainText != 0;
    text.explain = c->counter->explain;
    return pdhWriteCounterInfo(text, c->counter->rate ? PDH_TYPE_RATE : PDH_TYPE_RAW, bufferSize, info);
}

PDH_STATUS ScriptedPdhProvider::browseCountersW(PPDH_BROWSE_DLG_CONFIG_W /*config*/)
{
    const std::lock_guard<std::mutex> lock(mutex);
    // There is no dialog to show: the person always cancels.
    PDH_STATUS s;
    if (injected("PdhBrowseCountersW", std::wstring(), collects, s)) {
        return s;
    }
    return pdhStatus(PDH_DIALOG_CANCELLED);
}
