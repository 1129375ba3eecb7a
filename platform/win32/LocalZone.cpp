#include "platform/LocalZone.h"

#include <windows.h>

namespace platform {

bool localZoneBias(std::int32_t& bias, std::int32_t& daylightBias)
{
    TIME_ZONE_INFORMATION info;
    if (GetTimeZoneInformation(&info) == TIME_ZONE_ID_INVALID) {
        return false;
    }
    bias = static_cast<std::int32_t>(info.Bias);
    daylightBias = static_cast<std::int32_t>(info.DaylightBias);
    return true;
}

LocalTime localTimeNow()
{
    SYSTEMTIME st;
    GetLocalTime(&st);
    LocalTime out;
    out.year = st.wYear;
    out.month = st.wMonth;
    out.day = st.wDay;
    out.hour = st.wHour;
    out.minute = st.wMinute;
    out.second = st.wSecond;
    out.milliseconds = st.wMilliseconds;
    return out;
}

}  // namespace platform
