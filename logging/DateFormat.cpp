#include "logging/DateFormat.h"

#include <cctype>
#include <cstring>

namespace {

const char* const weekdayNames[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
const char* const monthNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};

bool isConversion(char c)
{
    return c != '\0' && std::strchr("aAbBcCdDeFgGhHIjklmMnpPrRsStTuUVwWxXyYzZ%", c) != nullptr;
}

bool isFlag(char c)
{
    return c == '_' || c == '-' || c == '0' || c == '^' || c == '#';
}

bool isLeapYear(std::int64_t y)
{
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// Days from 1970-01-01 to the given civil date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d)
{
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

// ISO 8601 week number and the year it belongs to.
void isoWeek(const std::tm& tm, int& week, std::int64_t& year)
{
    year = tm.tm_year + 1900LL;
    const int wday = (tm.tm_wday + 6) % 7;  // Monday 0
    int w = (tm.tm_yday - wday + 10) / 7;
    if (w < 1) {
        --year;
        const int daysPrev = isLeapYear(year) ? 366 : 365;
        w = (tm.tm_yday + daysPrev - wday + 10) / 7;
    } else {
        const int days = isLeapYear(year) ? 366 : 365;
        if (w == 53 && tm.tm_yday - wday + 3 >= days) {
            w = 1;
            ++year;
        }
    }
    week = w;
}

class Printer {
public:
    Printer(Str& out, const std::tm& tm, std::int64_t unixSeconds, std::uint32_t ms)
        : out(out), tm(tm), unixSeconds(unixSeconds), ms(ms)
    {
    }

    void run(const char* f)
    {
        while (*f != '\0') {
            if (*f != '%') {
                out.push_back(*f++);
                continue;
            }
            ++f;
            flag = '\0';
            if (isFlag(*f))
                flag = *f++;
            width = -1;
            if (std::isdigit(static_cast<unsigned char>(*f))) {
                width = 0;
                while (std::isdigit(static_cast<unsigned char>(*f)))
                    width = width * 10 + (*f++ - '0');
            }
            if (*f == 'E' || *f == 'O')
                ++f;
            convert(*f++);
        }
    }

private:
    void number(std::int64_t value, int defaultWidth, char defaultPad = '0')
    {
        char pad = flag == '_' ? ' ' : flag == '0' ? '0' : defaultPad;
        int w = width >= 0 ? width : defaultWidth;
        if (flag == '-')
            w = 0;
        char digits[32];
        int n = std::snprintf(digits, sizeof digits, "%lld", static_cast<long long>(value < 0 ? -value : value));
        if (value < 0)
            out.push_back('-');
        for (int i = n + (value < 0 ? 1 : 0); i < w; ++i)
            out.push_back(pad);
        out.append(digits, static_cast<std::size_t>(n));
    }

    void text(const char* s, std::size_t length = std::string::npos)
    {
        Str t(s, length == std::string::npos ? std::strlen(s) : length);
        if (flag == '^' || flag == '#') {
            for (char& c : t)
                c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        if (width > 0 && static_cast<std::size_t>(width) > t.size() && flag != '-')
            out.append(static_cast<std::size_t>(width) - t.size(), flag == '0' ? '0' : ' ');
        out.append(t);
    }

    void sub(const char* format)
    {
        Printer inner(out, tm, unixSeconds, ms);
        inner.run(format);
    }

    void convert(char c)
    {
        const int hour12 = tm.tm_hour % 12 == 0 ? 12 : tm.tm_hour % 12;
        const std::int64_t year = tm.tm_year + 1900LL;
        switch (c) {
        case 'a': text(weekdayNames[tm.tm_wday % 7], 3); break;
        case 'A': text(weekdayNames[tm.tm_wday % 7]); break;
        case 'b':
        case 'h': text(monthNames[tm.tm_mon % 12], 3); break;
        case 'B': text(monthNames[tm.tm_mon % 12]); break;
        case 'c': sub("%a %b %e %H:%M:%S %Y"); break;
        case 'C': number(year / 100, 2); break;
        case 'd': number(tm.tm_mday, 2); break;
        case 'D': sub("%m/%d/%y"); break;
        case 'e': number(tm.tm_mday, 2, ' '); break;
        case 'F': sub("%Y-%m-%d"); break;
        case 'g':
        case 'G':
        case 'V': {
            int week;
            std::int64_t isoYear;
            isoWeek(tm, week, isoYear);
            if (c == 'V')
                number(week, 2);
            else if (c == 'g')
                number(isoYear % 100, 2);
            else
                number(isoYear, 1);
            break;
        }
        case 'H': number(tm.tm_hour, 2); break;
        case 'I': number(hour12, 2); break;
        case 'j': number(tm.tm_yday + 1, 3); break;
        case 'k': number(tm.tm_hour, 2, ' '); break;
        case 'l': number(ms, 3); break;
        case 'm': number(tm.tm_mon + 1, 2); break;
        case 'M': number(tm.tm_min, 2); break;
        case 'n': out.push_back('\n'); break;
        case 'p': text(tm.tm_hour < 12 ? "AM" : "PM"); break;
        case 'P': text(tm.tm_hour < 12 ? "am" : "pm"); break;
        case 'r': sub("%I:%M:%S %p"); break;
        case 'R': sub("%H:%M"); break;
        case 's': number(unixSeconds, 1); break;
        case 'S': number(tm.tm_sec, 2); break;
        case 't': out.push_back('\t'); break;
        case 'T': sub("%H:%M:%S"); break;
        case 'u': number(tm.tm_wday == 0 ? 7 : tm.tm_wday, 1); break;
        case 'U': number((tm.tm_yday + 7 - tm.tm_wday) / 7, 2); break;
        case 'w': number(tm.tm_wday, 1); break;
        case 'W': number((tm.tm_yday + 7 - (tm.tm_wday + 6) % 7) / 7, 2); break;
        case 'x': sub("%m/%d/%y"); break;
        case 'X': sub("%H:%M:%S"); break;
        case 'y': number(year % 100, 2); break;
        case 'Y': number(year, 1); break;
        case 'z': {
            // The local fields read as if they were UTC, less the real instant.
            std::int64_t local = daysFromCivil(year, static_cast<unsigned>(tm.tm_mon + 1),
                                               static_cast<unsigned>(tm.tm_mday)) * 86400
                + tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec;
            std::int64_t offset = (local - unixSeconds) / 60;
            out.push_back(offset < 0 ? '-' : '+');
            if (offset < 0)
                offset = -offset;
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "%02d%02d", static_cast<int>(offset / 60 % 100),
                          static_cast<int>(offset % 60));
            out.append(buffer);
            break;
        }
        case 'Z': {
            char buffer[64];
            std::tm copy = tm;
            std::size_t n = std::strftime(buffer, sizeof buffer, "%Z", &copy);
            text(buffer, n);
            break;
        }
        default: out.push_back('%'); break;
        }
    }

    Str& out;
    const std::tm& tm;
    std::int64_t unixSeconds;
    std::uint32_t ms;
    char flag = '\0';
    int width = -1;
};

}  // namespace

bool DateFormat::compile(std::string_view t)
{
    for (std::size_t i = 0; i < t.size(); ++i) {
        if (t[i] == '\0')
            return false;
        if (t[i] != '%')
            continue;
        ++i;
        if (i < t.size() && isFlag(t[i]))
            ++i;
        std::size_t digits = 0;
        while (i < t.size() && t[i] >= '0' && t[i] <= '9' && ++digits <= 3)
            ++i;
        if (digits > 3)
            return false;
        if (i < t.size() && (t[i] == 'E' || t[i] == 'O'))
            ++i;
        if (i >= t.size() || !isConversion(t[i]))
            return false;
    }
    format.assign(t.data(), t.size());
    return true;
}

void DateFormat::print(Str& out, const std::tm& tm, std::int64_t unixSeconds, std::uint32_t milliseconds) const
{
    Printer(out, tm, unixSeconds, milliseconds).run(format.c_str());
}
