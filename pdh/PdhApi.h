#pragma once

// The Performance Data Helper API as the monitor uses it. On Windows the
// system's own declarations serve; elsewhere compatible ones are declared here.
// The calls themselves live in namespace pdh and go to the chosen PdhProvider.

#ifdef _WIN32

#include <windows.h>
#include <pdh.h>
#include <pdhmsg.h>

#else

#include <cstdint>

using DWORD = std::uint32_t;
using LONG = std::int32_t;
using LONGLONG = std::int64_t;
using BOOLEAN = unsigned char;
using WINBOOL = int;
using DWORD_PTR = std::uintptr_t;
using LPDWORD = DWORD*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using HANDLE = void*;
using HWND = void*;

using PDH_STATUS = LONG;
using PDH_HCOUNTER = HANDLE;
using PDH_HQUERY = HANDLE;

struct PDH_FMT_COUNTERVALUE {
    DWORD CStatus;
    union {
        LONG longValue;
        double doubleValue;
        LONGLONG largeValue;
        LPCSTR AnsiStringValue;
        LPCWSTR WideStringValue;
    };
};
using PPDH_FMT_COUNTERVALUE = PDH_FMT_COUNTERVALUE*;

struct PDH_FMT_COUNTERVALUE_ITEM_W {
    LPWSTR szName;
    PDH_FMT_COUNTERVALUE FmtValue;
};
using PPDH_FMT_COUNTERVALUE_ITEM_W = PDH_FMT_COUNTERVALUE_ITEM_W*;

struct PDH_COUNTER_PATH_ELEMENTS_W {
    LPWSTR szMachineName;
    LPWSTR szObjectName;
    LPWSTR szInstanceName;
    LPWSTR szParentInstance;
    DWORD dwInstanceIndex;
    LPWSTR szCounterName;
};
using PPDH_COUNTER_PATH_ELEMENTS_W = PDH_COUNTER_PATH_ELEMENTS_W*;

struct PDH_COUNTER_INFO_W {
    DWORD dwLength;
    DWORD dwType;
    DWORD CVersion;
    DWORD CStatus;
    LONG lScale;
    LONG lDefaultScale;
    DWORD_PTR dwUserData;
    DWORD_PTR dwQueryUserData;
    LPWSTR szFullPath;
    PDH_COUNTER_PATH_ELEMENTS_W CounterPath;
    LPWSTR szExplainText;
    DWORD DataBuffer[1];
};
using PPDH_COUNTER_INFO_W = PDH_COUNTER_INFO_W*;

using CounterPathCallBack = PDH_STATUS (*)(DWORD_PTR);

struct PDH_BROWSE_DLG_CONFIG_W {
    DWORD bIncludeInstanceIndex : 1, bSingleCounterPerAdd : 1, bSingleCounterPerDialog : 1, bLocalCountersOnly : 1,
        bWildCardInstances : 1, bHideDetailBox : 1, bInitializePath : 1, bDisableMachineSelection : 1,
        bIncludeCostlyObjects : 1, bShowObjectBrowser : 1, bReserved : 22;
    HWND hWndOwner;
    LPWSTR szDataSource;
    LPWSTR szReturnPathBuffer;
    DWORD cchReturnPathLength;
    CounterPathCallBack pCallBack;
    DWORD_PTR dwCallBackArg;
    PDH_STATUS CallBackStatus;
    DWORD dwDefaultDetailLevel;
    LPWSTR szDialogBoxCaption;
};
using PPDH_BROWSE_DLG_CONFIG_W = PDH_BROWSE_DLG_CONFIG_W*;

#define PDH_FMT_DOUBLE ((DWORD)0x00000200)
#define PERF_DETAIL_WIZARD 400

#define PDH_CSTATUS_VALID_DATA ((DWORD)0x00000000)
#define PDH_CSTATUS_NEW_DATA ((DWORD)0x00000001)
#define PDH_CSTATUS_NO_MACHINE ((DWORD)0x800007D0)
#define PDH_CSTATUS_NO_INSTANCE ((DWORD)0x800007D1)
#define PDH_MORE_DATA ((DWORD)0x800007D2)
#define PDH_CSTATUS_ITEM_NOT_VALIDATED ((DWORD)0x800007D3)
#define PDH_RETRY ((DWORD)0x800007D4)
#define PDH_NO_DATA ((DWORD)0x800007D5)
#define PDH_CALC_NEGATIVE_DENOMINATOR ((DWORD)0x800007D6)
#define PDH_CALC_NEGATIVE_TIMEBASE ((DWORD)0x800007D7)
#define PDH_CALC_NEGATIVE_VALUE ((DWORD)0x800007D8)
#define PDH_DIALOG_CANCELLED ((DWORD)0x800007D9)
#define PDH_END_OF_LOG_FILE ((DWORD)0x800007DA)
#define PDH_ASYNC_QUERY_TIMEOUT ((DWORD)0x800007DB)
#define PDH_CANNOT_SET_DEFAULT_REALTIME_DATASOURCE ((DWORD)0x800007DC)
#define PDH_CSTATUS_NO_OBJECT ((DWORD)0xC0000BB8)
#define PDH_CSTATUS_NO_COUNTER ((DWORD)0xC0000BB9)
#define PDH_CSTATUS_INVALID_DATA ((DWORD)0xC0000BBA)
#define PDH_MEMORY_ALLOCATION_FAILURE ((DWORD)0xC0000BBB)
#define PDH_INVALID_HANDLE ((DWORD)0xC0000BBC)
#define PDH_INVALID_ARGUMENT ((DWORD)0xC0000BBD)
#define PDH_FUNCTION_NOT_FOUND ((DWORD)0xC0000BBE)
#define PDH_CSTATUS_NO_COUNTERNAME ((DWORD)0xC0000BBF)
#define PDH_CSTATUS_BAD_COUNTERNAME ((DWORD)0xC0000BC0)
#define PDH_INVALID_BUFFER ((DWORD)0xC0000BC1)
#define PDH_INSUFFICIENT_BUFFER ((DWORD)0xC0000BC2)
#define PDH_CANNOT_CONNECT_MACHINE ((DWORD)0xC0000BC3)
#define PDH_INVALID_PATH ((DWORD)0xC0000BC4)
#define PDH_INVALID_INSTANCE ((DWORD)0xC0000BC5)
#define PDH_INVALID_DATA ((DWORD)0xC0000BC6)
#define PDH_NO_DIALOG_DATA ((DWORD)0xC0000BC7)
#define PDH_CANNOT_READ_NAME_STRINGS ((DWORD)0xC0000BC8)
#define PDH_NOT_IMPLEMENTED ((DWORD)0xC0000BD3)
#define PDH_ACCESS_DENIED ((DWORD)0xC0000BDB)

#endif

// The PDH calls of the monitor, forwarded to the provider chosen at start.
namespace pdh {

PDH_STATUS PdhOpenQueryA(LPCSTR szDataSource, DWORD_PTR dwUserData, PDH_HQUERY* phQuery);
PDH_STATUS PdhCloseQuery(PDH_HQUERY hQuery);
PDH_STATUS PdhAddCounterW(PDH_HQUERY hQuery, LPCWSTR szFullCounterPath, DWORD_PTR dwUserData,
                          PDH_HCOUNTER* phCounter);
PDH_STATUS PdhCollectQueryData(PDH_HQUERY hQuery);
PDH_STATUS PdhGetFormattedCounterValue(PDH_HCOUNTER hCounter, DWORD dwFormat, LPDWORD lpdwType,
                                       PPDH_FMT_COUNTERVALUE pValue);
PDH_STATUS PdhGetFormattedCounterArrayW(PDH_HCOUNTER hCounter, DWORD dwFormat, LPDWORD lpdwBufferSize,
                                        LPDWORD lpdwItemCount, PPDH_FMT_COUNTERVALUE_ITEM_W ItemBuffer);
PDH_STATUS PdhEnumObjectsW(LPCWSTR szDataSource, LPCWSTR szMachineName, LPWSTR mszObjectList,
                           LPDWORD pcchBufferSize, DWORD dwDetailLevel, WINBOOL bRefresh);
PDH_STATUS PdhEnumObjectsA(LPCSTR szDataSource, LPCSTR szMachineName, LPSTR mszObjectList, LPDWORD pcchBufferSize,
                           DWORD dwDetailLevel, WINBOOL bRefresh);
PDH_STATUS PdhEnumObjectItemsW(LPCWSTR szDataSource, LPCWSTR szMachineName, LPCWSTR szObjectName,
                               LPWSTR mszCounterList, LPDWORD pcchCounterListLength, LPWSTR mszInstanceList,
                               LPDWORD pcchInstanceListLength, DWORD dwDetailLevel, DWORD dwFlags);
PDH_STATUS PdhParseCounterPathW(LPCWSTR szFullPathBuffer, PPDH_COUNTER_PATH_ELEMENTS_W pCounterPathElements,
                                LPDWORD pdwBufferSize, DWORD dwFlags);
PDH_STATUS PdhValidatePathW(LPCWSTR szFullPathBuffer);
PDH_STATUS PdhGetCounterInfoW(PDH_HCOUNTER hCounter, BOOLEAN bRetrieveExplainText, LPDWORD pdwBufferSize,
                              PPDH_COUNTER_INFO_W lpBuffer);
PDH_STATUS PdhBrowseCountersW(PPDH_BROWSE_DLG_CONFIG_W pBrowseDlgData);

}  // namespace pdh
