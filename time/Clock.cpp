#include "time/Clock.h"

Timeval SystemClock::now() const
{
    return Timeval::now();
}

SystemClock& SystemClock::instance()
{
    static SystemClock clock;
    return clock;
}
