#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "foundation/Str.h"
#include "pdh/PdhApi.h"
#include "pipeline/input/CounterEntry.h"

// The monitor's only road to PDH: queries, enumerations, status texts and the
// expansion of configured counters into CounterEntry records. Every helper
// logs and returns; none throws.
namespace PerfmonHelper {

// Passed to every enumeration.
inline constexpr DWORD DETAIL_LEVEL = PERF_DETAIL_WIZARD;

// Text of a status: PDH's own message for its statuses, the OS error text otherwise.
Str getPdhErr(const PDH_STATUS& status);

// A new query, or null (logged) if PDH refused one.
PDH_HQUERY initQueryHandle();

// False only if PDH says the object doesn't exist.
bool isObjectValid(const std::wstring& object);

// All objects of machine (the local one if empty), in UTF-8.
bool enumObjectNames(const std::wstring& machine, std::vector<Str>& out);

// "\object(instance)\counter", or "\object\counter" without an instance;
// empty if object or counter is.
std::wstring buildCounterPath(std::wstring object, std::wstring instance, std::wstring counter);

// Appends the entry of one counter; with an empty counter, object is a full
// counter path to be split by PDH.
void addCounterToList(const std::wstring& object, std::wstring instance, std::wstring counter,
                      std::vector<CounterEntry>& list);

// Expands a path with "*" for its instance or counter. host is not read: the
// path's own machine decides.
void addWildCardToList(const std::wstring& host, const std::wstring& path, std::vector<CounterEntry>& list);

// Every counter of object, in PDH's order.
void getAllCounters(const std::wstring& object, std::vector<std::wstring>& out);

// Every instance of object present now, repeated names numbered "name#1", "name#2"...
void getAllInstances(const std::wstring& object, std::map<std::wstring, std::int32_t>& out);

// Entries for counter (all if empty or "*") at instance (all if empty or "*") of object.
void enumObjectByNameEx(const std::wstring& machine, const std::wstring& object, std::wstring counter,
                        std::wstring instance, std::vector<CounterEntry>& list);

// The names only, numbered as above; machine may be empty.
bool enumObjectByNameEx(const std::wstring& machine, const std::wstring& object, std::vector<Str>& counters,
                        std::vector<Str>& instances);

// Does path stand for more than one counter.
bool isWildcardPath(const std::wstring& path);

// Adds entry to query, retrying as "\object(*)\counter" if PDH refuses its path.
bool addPdhCounter(PDH_HQUERY query, CounterEntry& entry);

// The explain text of a counter, empty if there is none.
Str getCounterDescription(PDH_HCOUNTER counter);

}  // namespace PerfmonHelper
