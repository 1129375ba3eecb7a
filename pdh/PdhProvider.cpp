#include "pdh/PdhProvider.h"

#include <utility>

#include "foundation/Str.h"
#include "logging/Logger.h"
#include "pdh/ScriptedPdhProvider.h"
#include "platform/Process.h"

namespace {

Logger logger("Pdh", false, 0, 0);

// The one provider of the process; chosen at start, read by the calls below.
std::unique_ptr<PdhProvider>& current()
{
    static std::unique_ptr<PdhProvider> provider;
    return provider;
}

bool& selected()
{
    static bool done = false;
    return done;
}

// Forwards one call, choosing the provider on first use if start-up didn't.
template <typename... Params, typename... Args>
PDH_STATUS forward(PDH_STATUS (PdhProvider::*call)(Params...), Args... args)
{
    if (!selected()) {
        std::string error;
        if (!selectPdhProvider(error)) {
            logError(logger, "%s", error.c_str());
        }
    }
    PdhProvider* provider = current().get();
    if (provider == nullptr) {
        return static_cast<PDH_STATUS>(PDH_CSTATUS_NO_MACHINE);
    }
    return (provider->*call)(args...);
}

}  // namespace

bool selectPdhProvider(std::string& error)
{
    selected() = true;
    const Str script = Str::fromWide(platform::getEnvironmentVariable(Str(PDH_SCRIPT_VARIABLE).toWide()));
    if (!script.empty()) {
        current() = ScriptedPdhProvider::load(script, error);
    } else {
        current() = makeSystemPdhProvider(error);
    }
    return current() != nullptr;
}

void setPdhProvider(std::unique_ptr<PdhProvider> provider)
{
    selected() = true;
    current() = std::move(provider);
}

namespace pdh {

PDH_STATUS PdhOpenQueryA(LPCSTR szDataSource, DWORD_PTR dwUserData, PDH_HQUERY* phQuery)
{
    return forward(&PdhProvider::openQueryA, szDataSource, dwUserData, phQuery);
}

PDH_STATUS PdhCloseQuery(PDH_HQUERY hQuery)
{
    return forward(&PdhProvider::closeQuery, hQuery);
}

PDH_STATUS PdhAddCounterW(PDH_HQUERY hQuery, LPCWSTR szFullCounterPath, DWORD_PTR dwUserData,
                          PDH_HCOUNTER* phCounter)
{
    return forward(&PdhProvider::addCounterW, hQuery, szFullCounterPath, dwUserData, phCounter);
}

PDH_STATUS PdhCollectQueryData(PDH_HQUERY hQuery)
{
    return forward(&PdhProvider::collectQueryData, hQuery);
}

PDH_STATUS PdhGetFormattedCounterValue(PDH_HCOUNTER hCounter, DWORD dwFormat, LPDWORD lpdwType,
                                       PPDH_FMT_COUNTERVALUE pValue)
{
    return forward(&PdhProvider::getFormattedCounterValue, hCounter, dwFormat, lpdwType, pValue);
}

PDH_STATUS PdhGetFormattedCounterArrayW(PDH_HCOUNTER hCounter, DWORD dwFormat, LPDWORD lpdwBufferSize,
                                        LPDWORD lpdwItemCount, PPDH_FMT_COUNTERVALUE_ITEM_W ItemBuffer)
{
    return forward(&PdhProvider::getFormattedCounterArrayW, hCounter, dwFormat, lpdwBufferSize, lpdwItemCount,
                   ItemBuffer);
}

PDH_STATUS PdhEnumObjectsW(LPCWSTR szDataSource, LPCWSTR szMachineName, LPWSTR mszObjectList,
                           LPDWORD pcchBufferSize, DWORD dwDetailLevel, WINBOOL bRefresh)
{
    return forward(&PdhProvider::enumObjectsW, szDataSource, szMachineName, mszObjectList, pcchBufferSize,
                   dwDetailLevel, bRefresh);
}

PDH_STATUS PdhEnumObjectsA(LPCSTR szDataSource, LPCSTR szMachineName, LPSTR mszObjectList, LPDWORD pcchBufferSize,
                           DWORD dwDetailLevel, WINBOOL bRefresh)
{
    return forward(&PdhProvider::enumObjectsA, szDataSource, szMachineName, mszObjectList, pcchBufferSize,
                   dwDetailLevel, bRefresh);
}

PDH_STATUS PdhEnumObjectItemsW(LPCWSTR szDataSource, LPCWSTR szMachineName, LPCWSTR szObjectName,
                               LPWSTR mszCounterList, LPDWORD pcchCounterListLength, LPWSTR mszInstanceList,
                               LPDWORD pcchInstanceListLength, DWORD dwDetailLevel, DWORD dwFlags)
{
    return forward(&PdhProvider::enumObjectItemsW, szDataSource, szMachineName, szObjectName, mszCounterList,
                   pcchCounterListLength, mszInstanceList, pcchInstanceListLength, dwDetailLevel, dwFlags);
}

PDH_STATUS PdhParseCounterPathW(LPCWSTR szFullPathBuffer, PPDH_COUNTER_PATH_ELEMENTS_W pCounterPathElements,
                                LPDWORD pdwBufferSize, DWORD dwFlags)
{
    return forward(&PdhProvider::parseCounterPathW, szFullPathBuffer, pCounterPathElements, pdwBufferSize,
                   dwFlags);
}

PDH_STATUS PdhValidatePathW(LPCWSTR szFullPathBuffer)
{
    return forward(&PdhProvider::validatePathW, szFullPathBuffer);
}

PDH_STATUS PdhGetCounterInfoW(PDH_HCOUNTER hCounter, BOOLEAN bRetrieveExplainText, LPDWORD pdwBufferSize,
                              PPDH_COUNTER_INFO_W lpBuffer)
{
    return forward(&PdhProvider::getCounterInfoW, hCounter, bRetrieveExplainText, pdwBufferSize, lpBuffer);
}

PDH_STATUS PdhBrowseCountersW(PPDH_BROWSE_DLG_CONFIG_W pBrowseDlgData)
{
    return forward(&PdhProvider::browseCountersW, pBrowseDlgData);
}

}  // namespace pdh
