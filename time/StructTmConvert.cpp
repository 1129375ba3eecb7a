// The plain conversions, which never log: Timeval's text forms use them from
// below the logger.
#include "time/StructTm.h"

#include "platform/Clock.h"

namespace {

// The run time's conversions end at 3000-12-31 23:59:59 UTC and do not go
// before 1970; both platforms are held to the same range.
constexpr int64_t FIRST_REFUSED_SECOND = 0x793407000ll;

} // namespace

bool structTmSecondsInRange(int64_t seconds)
{
    return seconds >= 0 && seconds < FIRST_REFUSED_SECOND;
}

bool GmtStructTm::convert(int64_t seconds, std::tm& out)
{
    return structTmSecondsInRange(seconds) && platform::gmTime(seconds, out);
}

bool LocalStructTm::convert(int64_t seconds, std::tm& out)
{
    return structTmSecondsInRange(seconds) && platform::localTime(seconds, out);
}
