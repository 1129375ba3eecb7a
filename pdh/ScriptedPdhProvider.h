#pragma once

#include <cstdint>
#include <istream>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "pdh/PdhProvider.h"

// A PDH world read from a text file, for runs without the system's PDH and for
// tests. It answers as PDH does: two-call sizing with PDH_MORE_DATA,
// double-zero-terminated lists, "name#k" for the k-th instance of a repeated
// name, PDH_INVALID_DATA on the first sample of a rate counter, a failed read
// for an instance that is gone, wildcard counters read only as arrays.
//
// The script, one statement a line; a line whose first non-blank is "#" is a
// comment. Fields are separated by "|" and trimmed, so names may hold blanks
// but no "|".
//
//   machine NAME                       the local machine (default "localhost"); paths
//                                      may name it as \\NAME, any other machine is unknown
//   object NAME [| instances]          starts an object; it has instances if it has
//                                      instance lines or says "instances"
//   counter NAME [| rate] [| VALUE] [| explain TEXT]
//                                      a counter of the object; default VALUE is 0
//   instance NAME [| from K] [| until K]
//                                      an instance of the object, present while
//                                      K(from) <= collect number < K(until); names may repeat
//   value COUNTER | INSTANCE | VALUE   the values of one instance (NAME or NAME#k) of a counter
//   fail FUNCTION [| on TARGET] [| at K] | STATUS
//                                      FUNCTION (e.g. PdhAddCounterW) answers STATUS
//                                      (0x... or decimal); "on" limits it to a counter
//                                      path, or an object for PdhEnumObjectItemsW; "at"
//                                      to collect number K
//
//   VALUE is a number ("nan" and "inf" too), "seq X Y Z" (the n-th value at
//   collect n, the last one after the end), or "linear A B" (A + B*n).
//
// The collect number counts the PdhCollectQueryData calls of the process: 0
// before the first, 1 during and after it, and so on. Enumerations list what is
// present at the current number; a read answers for the number at which its
// query last collected.
class ScriptedPdhProvider : public PdhProvider {
public:
    // Reads the script at path; null with "path:line: what is wrong" in error.
    static std::unique_ptr<ScriptedPdhProvider> load(const std::string& path, std::string& error);
    // The same from a stream; name stands for the file in messages.
    static std::unique_ptr<ScriptedPdhProvider> load(std::istream& in, const std::string& name, std::string& error);

    ~ScriptedPdhProvider() override;

    PDH_STATUS openQueryA(LPCSTR dataSource, DWORD_PTR userData, PDH_HQUERY* query) override;
    PDH_STATUS closeQuery(PDH_HQUERY query) override;
    PDH_STATUS addCounterW(PDH_HQUERY query, LPCWSTR fullCounterPath, DWORD_PTR userData,
                           PDH_HCOUNTER* counter) override;
    PDH_STATUS collectQueryData(PDH_HQUERY query) override;
    PDH_STATUS getFormattedCounterValue(PDH_HCOUNTER counter, DWORD format, LPDWORD type,
                                        PPDH_FMT_COUNTERVALUE value) override;
    PDH_STATUS getFormattedCounterArrayW(PDH_HCOUNTER counter, DWORD format, LPDWORD bufferSize, LPDWORD itemCount,
                                         PPDH_FMT_COUNTERVALUE_ITEM_W items) override;
    PDH_STATUS enumObjectsW(LPCWSTR dataSource, LPCWSTR machineName, LPWSTR objectList, LPDWORD bufferSize,
                            DWORD detailLevel, WINBOOL refresh) override;
    PDH_STATUS enumObjectsA(LPCSTR dataSource, LPCSTR machineName, LPSTR objectList, LPDWORD bufferSize,
                            DWORD detailLevel, WINBOOL refresh) override;
    PDH_STATUS enumObjectItemsW(LPCWSTR dataSource, LPCWSTR machineName, LPCWSTR objectName, LPWSTR counterList,
                                LPDWORD counterListLength, LPWSTR instanceList, LPDWORD instanceListLength,
                                DWORD detailLevel, DWORD flags) override;
    PDH_STATUS parseCounterPathW(LPCWSTR fullPath, PPDH_COUNTER_PATH_ELEMENTS_W elements, LPDWORD bufferSize,
                                 DWORD flags) override;
    PDH_STATUS validatePathW(LPCWSTR fullPath) override;
    PDH_STATUS getCounterInfoW(PDH_HCOUNTER counter, BOOLEAN retrieveExplainText, LPDWORD bufferSize,
                               PPDH_COUNTER_INFO_W info) override;
    PDH_STATUS browseCountersW(PPDH_BROWSE_DLG_CONFIG_W config) override;

    struct Value {
        enum Kind { Constant, Sequence, Linear } kind = Constant;
        std::vector<double> numbers{0.0};  // Constant: one; Sequence: all; Linear: A, B
        double at(std::uint64_t collect) const;
    };
    struct InstanceValue {
        std::wstring instance;
        DWORD index = 0;
        Value value;
    };
    struct Counter {
        std::wstring name;
        bool rate = false;
        std::wstring explain;
        Value value;
        std::vector<InstanceValue> perInstance;
    };
    struct Instance {
        std::wstring name;
        std::uint64_t from = 0;
        std::uint64_t until = 0;  // 0: never goes
        bool presentAt(std::uint64_t collect) const { return collect >= from && (until == 0 || collect < until); }
    };
    struct Object {
        std::wstring name;
        bool hasInstances = false;
        std::vector<Counter> counters;
        std::vector<Instance> instances;
    };
    struct Failure {
        std::string function;
        std::wstring target;  // empty: any
        std::uint64_t at = 0;  // 0: any
        DWORD status = 0;
    };

private:
    struct Query;
    struct CounterHandle;

    ScriptedPdhProvider() = default;

    const Object* findObject(const std::wstring& name) const;
    bool isLocalMachine(LPCWSTR machine) const;
    bool injected(const char* function, const std::wstring& target, std::uint64_t at, PDH_STATUS& status) const;
    Query* findQuery(PDH_HQUERY handle) const;
    CounterHandle* findCounter(PDH_HCOUNTER handle) const;
    // The instance an added counter names, or null if there is none of that name and number.
    const Instance* resolveInstance(const CounterHandle& counter) const;
    double valueOf(const CounterHandle& counter, const Instance* instance, std::uint64_t collect) const;

    std::wstring machine = L"\\\\localhost";
    std::vector<Object> objects;
    std::vector<Failure> failures;
    // Calls may come from the self-test's thread as well as the main one.
    std::mutex mutex;
    std::uint64_t collects = 0;
    std::list<std::unique_ptr<Query>> queries;
};
