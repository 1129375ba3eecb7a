#include "pdh/PdhProvider.h"

namespace {

// Straight to pdh.dll.
class SystemPdhProvider : public PdhProvider {
public:
    PDH_STATUS openQueryA(LPCSTR dataSource, DWORD_PTR userData, PDH_HQUERY* query) override
    {
        return ::PdhOpenQueryA(dataSource, userData, query);
    }
    PDH_STATUS closeQuery(PDH_HQUERY query) override { return ::PdhCloseQuery(query); }
    PDH_STATUS addCounterW(PDH_HQUERY query, LPCWSTR fullCounterPath, DWORD_PTR userData,
                           PDH_HCOUNTER* counter) override
    {
        return ::PdhAddCounterW(query, fullCounterPath, userData, counter);
    }
    PDH_STATUS collectQueryData(PDH_HQUERY query) override { return ::PdhCollectQueryData(query); }
    PDH_STATUS getFormattedCounterValue(PDH_HCOUNTER counter, DWORD format, LPDWORD type,
                                        PPDH_FMT_COUNTERVALUE value) override
    {
        return ::PdhGetFormattedCounterValue(counter, format, type, value);
    }
    PDH_STATUS getFormattedCounterArrayW(PDH_HCOUNTER counter, DWORD format, LPDWORD bufferSize, LPDWORD itemCount,
                                         PPDH_FMT_COUNTERVALUE_ITEM_W items) override
    {
        return ::PdhGetFormattedCounterArrayW(counter, format, bufferSize, itemCount, items);
    }
    PDH_STATUS enumObjectsW(LPCWSTR dataSource, LPCWSTR machineName, LPWSTR objectList, LPDWORD bufferSize,
                            DWORD detailLevel, WINBOOL refresh) override
    {
        return ::PdhEnumObjectsW(dataSource, machineName, objectList, bufferSize, detailLevel, refresh);
    }
    PDH_STATUS enumObjectsA(LPCSTR dataSource, LPCSTR machineName, LPSTR objectList, LPDWORD bufferSize,
                            DWORD detailLevel, WINBOOL refresh) override
    {
        return ::PdhEnumObjectsA(dataSource, machineName, objectList, bufferSize, detailLevel, refresh);
    }
    PDH_STATUS enumObjectItemsW(LPCWSTR dataSource, LPCWSTR machineName, LPCWSTR objectName, LPWSTR counterList,
                                LPDWORD counterListLength, LPWSTR instanceList, LPDWORD instanceListLength,
                                DWORD detailLevel, DWORD flags) override
    {
        return ::PdhEnumObjectItemsW(dataSource, machineName, objectName, counterList, counterListLength,
                                     instanceList, instanceListLength, detailLevel, flags);
    }
    PDH_STATUS parseCounterPathW(LPCWSTR fullPath, PPDH_COUNTER_PATH_ELEMENTS_W elements, LPDWORD bufferSize,
                                 DWORD flags) override
    {
        return ::PdhParseCounterPathW(fullPath, elements, bufferSize, flags);
    }
    PDH_STATUS validatePathW(LPCWSTR fullPath) override { return ::PdhValidatePathW(fullPath); }
    PDH_STATUS getCounterInfoW(PDH_HCOUNTER counter, BOOLEAN retrieveExplainText, LPDWORD bufferSize,
                               PPDH_COUNTER_INFO_W info) override
    {
        return ::PdhGetCounterInfoW(counter, retrieveExplainText, bufferSize, info);
    }
    PDH_STATUS browseCountersW(PPDH_BROWSE_DLG_CONFIG_W config) override { return ::PdhBrowseCountersW(config); }
};

}  // namespace

std::unique_ptr<PdhProvider> makeSystemPdhProvider(std::string& /*error*/)
{
    return std::make_unique<SystemPdhProvider>();
}
