#pragma once

#include <memory>
#include <string>

#include "pdh/PdhApi.h"

// The PDH function set behind one interface, so that the monitor can run on
// the system's pdh.dll or on a scripted world in tests. The calls of namespace
// pdh forward to the provider chosen at start.
class PdhProvider {
public:
    virtual ~PdhProvider() = default;

    virtual PDH_STATUS openQueryA(LPCSTR dataSource, DWORD_PTR userData, PDH_HQUERY* query) = 0;
    virtual PDH_STATUS closeQuery(PDH_HQUERY query) = 0;
    virtual PDH_STATUS addCounterW(PDH_HQUERY query, LPCWSTR fullCounterPath, DWORD_PTR userData,
                                   PDH_HCOUNTER* counter) = 0;
    virtual PDH_STATUS collectQueryData(PDH_HQUERY query) = 0;
    virtual PDH_STATUS getFormattedCounterValue(PDH_HCOUNTER counter, DWORD format, LPDWORD type,
                                                PPDH_FMT_COUNTERVALUE value) = 0;
    virtual PDH_STATUS getFormattedCounterArrayW(PDH_HCOUNTER counter, DWORD format, LPDWORD bufferSize,
                                                 LPDWORD itemCount, PPDH_FMT_COUNTERVALUE_ITEM_W items) = 0;
    virtual PDH_STATUS enumObjectsW(LPCWSTR dataSource, LPCWSTR machineName, LPWSTR objectList,
                                    LPDWORD bufferSize, DWORD detailLevel, WINBOOL refresh) = 0;
    virtual PDH_STATUS enumObjectsA(LPCSTR dataSource, LPCSTR machineName, LPSTR objectList, LPDWORD bufferSize,
                                    DWORD detailLevel, WINBOOL refresh) = 0;
    virtual PDH_STATUS enumObjectItemsW(LPCWSTR dataSource, LPCWSTR machineName, LPCWSTR objectName,
                                        LPWSTR counterList, LPDWORD counterListLength, LPWSTR instanceList,
                                        LPDWORD instanceListLength, DWORD detailLevel, DWORD flags) = 0;
    virtual PDH_STATUS parseCounterPathW(LPCWSTR fullPath, PPDH_COUNTER_PATH_ELEMENTS_W elements,
                                         LPDWORD bufferSize, DWORD flags) = 0;
    virtual PDH_STATUS validatePathW(LPCWSTR fullPath) = 0;
    virtual PDH_STATUS getCounterInfoW(PDH_HCOUNTER counter, BOOLEAN retrieveExplainText, LPDWORD bufferSize,
                                       PPDH_COUNTER_INFO_W info) = 0;
    virtual PDH_STATUS browseCountersW(PPDH_BROWSE_DLG_CONFIG_W config) = 0;
};

// The environment variable that names a script for ScriptedPdhProvider.
inline constexpr char PDH_SCRIPT_VARIABLE[] = "TOLVIK_PDH_SCRIPT";

// Chooses the provider for the rest of the run: the script named by
// TOLVIK_PDH_SCRIPT if it is set, else the system's own. Answers false with the
// reason in error if none can serve; PDH calls then fail with PDH_CSTATUS_NO_MACHINE.
bool selectPdhProvider(std::string& error);

// Puts provider in place of the current one (tests; null leaves none).
void setPdhProvider(std::unique_ptr<PdhProvider> provider);

// The platform's own provider, or null with the reason in error.
std::unique_ptr<PdhProvider> makeSystemPdhProvider(std::string& error);
