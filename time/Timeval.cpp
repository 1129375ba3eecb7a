#include "time/Timeval.h"

#include <cctype>
#include <cstdio>
#include <limits>

#include "foundation/Str.h"
#include "platform/Clock.h"
#include "time/StructTm.h"
#include "time/TimeUnit.h"

namespace {

constexpr uint64_t U64_MAX = std::numeric_limits<uint64_t>::max();
constexpr uint64_t EPOCH_SECONDS = UNIX_EPOCH_TICKS / Timeval::TICKS_PER_SECOND; // 11644473600

// n * unit, or U64_MAX if that wraps.
uint64_t saturatingMul(uint64_t n, uint64_t unit)
{
    return n > U64_MAX / unit ? U64_MAX : n * unit;
}

constexpr char BASE32[] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
constexpr char SORTABLE_NULL[] = "zNULLzTIMEzzzz";
constexpr char SORTABLE_MIN[] = "zMINzTIMEzzzzz";
constexpr char SORTABLE_MAX[] = "zMAXzTIMEzzzzz";
constexpr size_t SORTABLE_LENGTH = 14;
constexpr uint64_t SORTABLE_MAX_SECONDS = 0xFFFFFFFFFFull; // 40 bits, 8 digits

int base32Value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'V')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'v')
        return c - 'a' + 10;
    return -1;
}

bool equalsNoCaseAscii(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

} // namespace

Timeval Timeval::now()
{
    return Timeval(platform::systemTimeTicks());
}

void Timeval::setNow()
{
    ticks = platform::systemTimeTicks();
}

Timeval Timeval::fromUnixTime(int64_t seconds)
{
    if (seconds < -static_cast<int64_t>(EPOCH_SECONDS))
        return MIN_TIME;
    uint64_t since1601 = static_cast<uint64_t>(seconds) + EPOCH_SECONDS; // modulo 2^64, so exact here
    return Timeval(saturatingMul(since1601, TICKS_PER_SECOND));
}

Timeval Timeval::fromUnixTimeNanos(int64_t seconds, uint32_t nanos)
{
    Timeval t = fromUnixTime(seconds);
    t.addTicks(nanos / 100);
    return t;
}

int64_t Timeval::toUnixTime() const
{
    if (ticks < UNIX_EPOCH_TICKS)
        return 0;
    return static_cast<int64_t>((ticks - UNIX_EPOCH_TICKS) / TICKS_PER_SECOND);
}

int64_t Timeval::unixSeconds() const
{
    if (ticks >= UNIX_EPOCH_TICKS)
        return static_cast<int64_t>((ticks - UNIX_EPOCH_TICKS) / TICKS_PER_SECOND);
    return -static_cast<int64_t>((UNIX_EPOCH_TICKS - ticks + TICKS_PER_SECOND - 1) / TICKS_PER_SECOND);
}

bool Timeval::isBeforeUnixEpoch() const
{
    return ticks <= UNIX_EPOCH_TICKS;
}

void Timeval::setUnixSeconds(int64_t seconds)
{
    uint64_t fraction = ticks % TICKS_PER_SECOND;
    *this = fromUnixTime(seconds);
    addTicks(fraction);
}

void Timeval::setMilliseconds(uint32_t ms)
{
    ticks -= ticks % TICKS_PER_SECOND;
    addTicks(static_cast<uint64_t>(ms) * TICKS_PER_MILLISECOND);
}

void Timeval::setMicroseconds(uint32_t us)
{
    ticks -= ticks % TICKS_PER_SECOND;
    addTicks(static_cast<uint64_t>(us) * TICKS_PER_MICROSECOND);
}

Timeval& Timeval::addTicks(uint64_t n)
{
    ticks = ticks > U64_MAX - n ? U64_MAX : ticks + n;
    return *this;
}

Timeval& Timeval::subTicks(uint64_t n)
{
    ticks = ticks < n ? 0 : ticks - n;
    return *this;
}

Timeval& Timeval::addMicroseconds(uint64_t n) { return addTicks(saturatingMul(n, TICKS_PER_MICROSECOND)); }
Timeval& Timeval::subMicroseconds(uint64_t n) { return subTicks(saturatingMul(n, TICKS_PER_MICROSECOND)); }
Timeval& Timeval::addMilliseconds(uint64_t n) { return addTicks(saturatingMul(n, TICKS_PER_MILLISECOND)); }
Timeval& Timeval::subMilliseconds(uint64_t n) { return subTicks(saturatingMul(n, TICKS_PER_MILLISECOND)); }
Timeval& Timeval::addSeconds(uint64_t n) { return addTicks(saturatingMul(n, TICKS_PER_SECOND)); }
Timeval& Timeval::subSeconds(uint64_t n) { return subTicks(saturatingMul(n, TICKS_PER_SECOND)); }

double Timeval::secondsBetween(Timeval a, Timeval b)
{
    if (a.ticks >= b.ticks)
        return static_cast<double>(a.ticks - b.ticks) / 10000000.0;
    return -(static_cast<double>(b.ticks - a.ticks) / 10000000.0);
}

void Timeval::truncateToSeconds(uint64_t n)
{
    if (n != 0)
        ticks -= ticks % saturatingMul(n, TICKS_PER_SECOND);
}

void Timeval::truncateToMilliseconds(uint64_t n)
{
    if (n != 0)
        ticks -= ticks % saturatingMul(n, TICKS_PER_MILLISECOND);
}

void Timeval::truncateToMicroseconds(uint64_t n)
{
    if (n != 0)
        ticks -= ticks % saturatingMul(n, TICKS_PER_MICROSECOND);
}

Timeval Timeval::fromSeconds(double x)
{
    double t = 10000000.0 * x;
    if (!(t > 0.0)) // also NaN
        return MIN_TIME;
    if (t >= 18446744073709551616.0)
        return MAX_TIME;
    return Timeval(static_cast<uint64_t>(t));
}

Str Timeval::toString() const
{
    if (*this == MAX_TIME)
        return Str("MAX_TIME");
    if (*this == MIN_TIME)
        return Str("MIN_TIME");
    static const char* const DAYS[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    int64_t seconds = unixSeconds();
    std::tm tm {};
    char buf[64];
    if (!LocalStructTm::convert(seconds, tm) || tm.tm_wday < 0 || tm.tm_wday > 6 || tm.tm_mon < 0
        || tm.tm_mon > 11)
        std::snprintf(buf, sizeof buf, "INVALID_TIME (%lld)", static_cast<long long>(seconds));
    else
        std::snprintf(buf, sizeof buf, "%s %s%3d %.2d:%.2d:%.2d %d", DAYS[tm.tm_wday], MONTHS[tm.tm_mon],
                      tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, tm.tm_year + 1900);
    return Str(buf);
}

void Timeval::toUnixString(std::string& out, int digits) const
{
    out += std::to_string(toUnixTime());
    if (digits <= 0)
        return;
    out += '.';
    uint64_t fraction = ticks % TICKS_PER_SECOND;
    uint64_t weight = 1000000;
    for (int i = 0; i < digits; ++i) {
        out += static_cast<char>('0' + (weight ? fraction / weight % 10 : 0));
        weight /= 10;
    }
}

bool Timeval::fromUnixString(std::string_view text)
{
    size_t i = 0;
    uint64_t seconds = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        unsigned digit = static_cast<unsigned>(text[i] - '0');
        if (seconds > (U64_MAX - digit) / 10)
            return false;
        seconds = seconds * 10 + digit;
    }
    if (i == 0)
        return false;
    uint64_t fraction = 0;
    if (i < text.size()) {
        if (text[i] != '.')
            return false;
        uint64_t weight = 1000000;
        for (++i; i < text.size(); ++i) {
            if (text[i] < '0' || text[i] > '9')
                return false;
            fraction += static_cast<uint64_t>(text[i] - '0') * weight;
            weight /= 10;
        }
    }
    if (seconds > (U64_MAX - UNIX_EPOCH_TICKS) / TICKS_PER_SECOND)
        return false;
    uint64_t whole = UNIX_EPOCH_TICKS + seconds * TICKS_PER_SECOND;
    if (whole > U64_MAX - fraction)
        return false;
    ticks = whole + fraction;
    return true;
}

Str Timeval::toSortableString() const
{
    if (*this == MAX_TIME)
        return Str(SORTABLE_MAX);
    if ((ticks >> 32) == 0)
        return Str(SORTABLE_NULL);
    uint64_t seconds = ticks / TICKS_PER_SECOND;
    uint64_t nanos = (ticks % TICKS_PER_SECOND) * 100;
    if (seconds > SORTABLE_MAX_SECONDS) {
        seconds = SORTABLE_MAX_SECONDS;
        nanos = 999999999;
    }
    Str out(SORTABLE_LENGTH, '0');
    for (int i = 7; i >= 0; --i, seconds >>= 5)
        out[static_cast<size_t>(i)] = BASE32[seconds & 31];
    for (int i = 13; i >= 8; --i, nanos >>= 5)
        out[static_cast<size_t>(i)] = BASE32[nanos & 31];
    return out;
}

bool Timeval::fromSortableString(std::string_view text)
{
    if (!text.empty() && (text[0] == 'z' || text[0] == 'Z')) {
        if (equalsNoCaseAscii(text, SORTABLE_NULL) || equalsNoCaseAscii(text, SORTABLE_MIN)) {
            ticks = 0;
            return true;
        }
        if (equalsNoCaseAscii(text, SORTABLE_MAX)) {
            *this = MAX_TIME;
            return true;
        }
        return false;
    }
    if (text.size() != SORTABLE_LENGTH)
        return false;
    uint64_t seconds = 0;
    uint64_t nanos = 0;
    for (size_t i = 0; i < SORTABLE_LENGTH; ++i) {
        int v = base32Value(text[i]);
        if (v < 0)
            return false;
        uint64_t& part = i < 8 ? seconds : nanos;
        part = (part << 5) | static_cast<uint64_t>(v);
    }
    if (nanos >= 1000000000)
        return false;
    // Eight digits hold 40 bits of seconds, far below where the ticks would wrap.
    static_assert(SORTABLE_MAX_SECONDS < U64_MAX / Timeval::TICKS_PER_SECOND - 1);
    ticks = seconds * TICKS_PER_SECOND + (nanos + 50) / 100;
    return true;
}

bool Timeval::parseDurationMs(std::string_view text, uint64_t& out)
{
    size_t i = 0;
    while (i < text.size() && isBlank(text[i]))
        ++i;
    if (i == text.size() || text[i] == '-')
        return false;
    size_t digitsStart = i;
    uint64_t amount = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        unsigned digit = static_cast<unsigned>(text[i] - '0');
        if (amount > (U64_MAX - digit) / 10)
            return false;
        amount = amount * 10 + digit;
    }
    if (i == digitsStart)
        amount = 1;
    else if (amount == 0)
        return false;
    while (i < text.size() && isBlank(text[i]))
        ++i;
    size_t end = text.size();
    while (end > i && isBlank(text[end - 1]))
        --end;
    std::string word(text.substr(i, end - i));
    for (char& c : word)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));

    uint64_t multiplier;
    if (word == "us") {
        out = amount / 1000;
        return true;
    }
    if (word == "ms") {
        multiplier = 1;
    } else if (word == "cs") {
        multiplier = 10;
    } else if (word == "ds") {
        multiplier = 100;
    } else {
        TimeWord unit = TimeWord::SECOND;
        if (!timeWordFromText(word, true, unit))
            return false;
        switch (unit) {
        case TimeWord::SECOND: multiplier = 1000ull; break;
        case TimeWord::MINUTE: multiplier = 60000ull; break;
        case TimeWord::HOUR: multiplier = 3600000ull; break;
        case TimeWord::DAY: multiplier = 86400000ull; break;
        case TimeWord::WEEK: multiplier = 604800000ull; break;
        case TimeWord::MONTH: multiplier = 2592000000ull; break;
        case TimeWord::QUARTER: multiplier = 7776000000ull; break;
        case TimeWord::YEAR: multiplier = 31536000000ull; break;
        default: return false;
        }
    }
    if (amount > U64_MAX / multiplier)
        return false;
    out = amount * multiplier;
    return true;
}

void Timeval::formatMilliseconds(std::string& out, uint64_t ms)
{
    out += std::to_string(ms / 1000);
    if (uint64_t rest = ms % 1000) {
        char buf[8];
        std::snprintf(buf, sizeof buf, ".%03u", static_cast<unsigned>(rest));
        out += buf;
    }
}
