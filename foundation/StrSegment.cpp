#include "foundation/StrSegment.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "foundation/Str.h"

Str StrSegment::str() const
{
    return Str(*this);
}

StrSegment StrSegment::substr(std::size_t start, std::size_t count) const noexcept
{
    if (start >= len)
        return StrSegment(ptr + len, 0);
    const std::size_t rest = len - start;
    return StrSegment(ptr + start, static_cast<std::uint32_t>(count < rest ? count : rest));
}

void StrSegment::removePrefix(std::uint32_t n) noexcept
{
    if (n > len)
        n = len;
    ptr += n;
    len -= n;
}

void StrSegment::removeSuffix(std::uint32_t n) noexcept
{
    len -= n > len ? len : n;
}

std::size_t StrSegment::find(char c, std::size_t start) const noexcept
{
    if (start >= len)
        return npos;
    const void* hit = std::memchr(ptr + start, c, len - start);
    return hit ? static_cast<std::size_t>(static_cast<const char*>(hit) - ptr) : npos;
}

std::size_t StrSegment::find(const StrSegment& needle, std::size_t start) const noexcept
{
    return view().find(needle.view(), start);
}

std::size_t StrSegment::rfind(char c, std::size_t start) const noexcept
{
    return view().rfind(c, start);
}

std::size_t StrSegment::findInClass(const CharClass& table, std::size_t start, bool wanted) const noexcept
{
    return ::findInClass(table, ptr, len, start, wanted);
}

bool StrSegment::startsWith(const StrSegment& prefix) const noexcept
{
    return view().starts_with(prefix.view());
}

bool StrSegment::endsWith(const StrSegment& suffix) const noexcept
{
    return view().ends_with(suffix.view());
}

int StrSegment::compare(const StrSegment& other) const noexcept
{
    const int c = view().compare(other.view());
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

int StrSegment::compareNoCase(const StrSegment& other) const noexcept
{
    return Str::compareNoCase(ptr, len, other.ptr, other.len);
}

void StrSegment::toLower(Str& out) const
{
    Str lowered;
    Str::appendLower(lowered, ptr, len);
    out.swap(lowered);
}

StrSegment& StrSegment::trim() noexcept
{
    return trimRight().trimLeft();
}

StrSegment& StrSegment::trimLeft() noexcept
{
    std::uint32_t i = 0;
    while (i < len && CharClass::whitespace.contains(ptr[i]))
        ++i;
    ptr += i;
    len -= i;
    return *this;
}

StrSegment& StrSegment::trimRight() noexcept
{
    while (len > 0 && CharClass::whitespace.contains(ptr[len - 1]))
        --len;
    return *this;
}

namespace {

int digitValue(unsigned char c) noexcept
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    return 99;
}

// The strtoull family's syntax, but all or nothing: white space, an optional
// sign, an optional "0x" (bases 0 and 16), digits, and nothing after them.
// The magnitude may not pass positiveLimit, or negativeLimit after a '-';
// a negativeLimit of 0 refuses the '-' outright.
bool parseInteger(const char* p, const char* end, int base, std::uint64_t positiveLimit,
                  std::uint64_t negativeLimit, std::uint64_t& magnitude, bool& negative) noexcept
{
    if (base < 0 || base == 1 || base > 36)
        return false;
    while (p < end && CharClass::whitespace.contains(*p))
        ++p;
    negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        if (negative && negativeLimit == 0)
            return false;
        ++p;
    }
    if ((base == 0 || base == 16) && end - p > 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X') &&
        digitValue(static_cast<unsigned char>(p[2])) < 16) {
        p += 2;
        base = 16;
    } else if (base == 0) {
        base = (p < end && *p == '0') ? 8 : 10;
    }
    if (p == end)
        return false;
    const std::uint64_t limit = negative ? negativeLimit : positiveLimit;
    const auto b = static_cast<std::uint64_t>(base);
    std::uint64_t value = 0;
    for (; p < end; ++p) {
        const int d = digitValue(static_cast<unsigned char>(*p));
        if (d >= base)
            return false;
        const auto du = static_cast<std::uint64_t>(d);
        if (value > (limit - du) / b)
            return false;
        value = value * b + du;
    }
    magnitude = value;
    return true;
}

template <typename T>
bool parseUnsignedAs(const StrSegment& s, T& out, int base) noexcept
{
    std::uint64_t magnitude;
    bool negative;
    if (!parseInteger(s.begin(), s.end(), base, std::numeric_limits<T>::max(), 0, magnitude, negative))
        return false;
    out = static_cast<T>(magnitude);
    return true;
}

template <typename T>
bool parseSignedAs(const StrSegment& s, T& out, int base) noexcept
{
    using U = std::make_unsigned_t<T>;
    constexpr auto maxPositive = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
    std::uint64_t magnitude;
    bool negative;
    if (!parseInteger(s.begin(), s.end(), base, maxPositive, maxPositive + 1, magnitude, negative))
        return false;
    // Two's complement negation in the unsigned type, then back.
    const auto u = static_cast<U>(negative ? U(0) - static_cast<U>(magnitude) : static_cast<U>(magnitude));
    out = static_cast<T>(u);
    return true;
}

bool equalsAsciiNoCase(const StrSegment& s, const char* lower) noexcept
{
    std::size_t i = 0;
    for (; lower[i] != '\0'; ++i) {
        if (i >= s.size())
            return false;
        char c = s[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + 32);
        if (c != lower[i])
            return false;
    }
    return i == s.size();
}

}  // namespace

bool StrSegment::parseUnsigned64(std::uint64_t& out, int base) const noexcept
{
    return parseUnsignedAs(*this, out, base);
}

bool StrSegment::parseSigned64(std::int64_t& out, int base) const noexcept
{
    return parseSignedAs(*this, out, base);
}

bool StrSegment::parseUnsigned32(std::uint32_t& out, int base) const noexcept
{
    return parseUnsignedAs(*this, out, base);
}

bool StrSegment::parseSigned32(std::int32_t& out, int base) const noexcept
{
    return parseSignedAs(*this, out, base);
}

bool StrSegment::parseUnsigned16(std::uint16_t& out, int base) const noexcept
{
    return parseUnsignedAs(*this, out, base);
}

bool StrSegment::parseSigned16(std::int16_t& out, int base) const noexcept
{
    return parseSignedAs(*this, out, base);
}

bool StrSegment::parseDouble(double& out) const noexcept
{
    // strtod wants a terminated string; numbers are short, so a stack copy
    // serves all but absurd input, which is refused.
    char buffer[128];
    if (len == 0 || len >= sizeof buffer)
        return false;
    std::memcpy(buffer, ptr, len);
    buffer[len] = '\0';
    const int savedErrno = errno;
    errno = 0;
    char* stop = nullptr;
    const double value = std::strtod(buffer, &stop);
    const bool overflow = errno == ERANGE && std::isinf(value);
    errno = savedErrno;
    if (stop != buffer + len || stop == buffer || overflow)
        return false;
    out = value;
    return true;
}

bool StrSegment::parseBool(bool& out) const noexcept
{
    if (empty() || *this == "0" || equalsAsciiNoCase(*this, "f") || equalsAsciiNoCase(*this, "false") ||
        equalsAsciiNoCase(*this, "no")) {
        out = false;
        return true;
    }
    if (*this == "1" || equalsAsciiNoCase(*this, "t") || equalsAsciiNoCase(*this, "true") ||
        equalsAsciiNoCase(*this, "yes")) {
        out = true;
        return true;
    }
    return false;
}

namespace {

bool underLimit(int maxSplits, int splits) noexcept
{
    return maxSplits < 0 || splits < maxSplits;
}

}  // namespace

void StrSegment::split(StrSegmentTokenAcceptor& acceptor, char separator, int maxSplits) const
{
    if (len == 0)
        return;
    const char* p = ptr;
    const char* const stop = ptr + len;
    for (int splits = 0; underLimit(maxSplits, splits); ++splits) {
        const void* hit = std::memchr(p, separator, static_cast<std::size_t>(stop - p));
        if (hit == nullptr)
            break;
        const char* q = static_cast<const char*>(hit);
        acceptor.accept(StrSegment(p, static_cast<std::uint32_t>(q - p)));
        p = q + 1;
    }
    acceptor.accept(StrSegment(p, static_cast<std::uint32_t>(stop - p)));
}

void StrSegment::split(StrSegmentTokenAcceptor& acceptor, const StrSegment& separator, int maxSplits) const
{
    if (separator.size() == 1) {
        split(acceptor, separator[0], maxSplits);
        return;
    }
    if (len == 0)
        return;
    std::size_t start = 0;
    if (!separator.empty()) {
        for (int splits = 0; underLimit(maxSplits, splits); ++splits) {
            const std::size_t hit = find(separator, start);
            if (hit == npos)
                break;
            acceptor.accept(StrSegment(ptr + start, static_cast<std::uint32_t>(hit - start)));
            start = hit + separator.size();
        }
    }
    acceptor.accept(StrSegment(ptr + start, static_cast<std::uint32_t>(len - start)));
}

void StrSegment::split(StrSegmentTokenAcceptor& acceptor, const CharClass& separators, int maxSplits) const
{
    if (len == 0)
        return;
    std::size_t start = 0;
    for (int splits = 0; underLimit(maxSplits, splits); ++splits) {
        const std::size_t hit = findInClass(separators, start, true);
        if (hit == npos)
            break;
        acceptor.accept(StrSegment(ptr + start, static_cast<std::uint32_t>(hit - start)));
        start = hit + 1;
    }
    acceptor.accept(StrSegment(ptr + start, static_cast<std::uint32_t>(len - start)));
}

bool StrSegment::isValidUtf8() const noexcept
{
    return Str::isValidUtf8(ptr, len);
}

std::wstring StrSegment::toWide() const
{
    std::wstring out;
    Str::appendUtf8(out, ptr, len);
    return out;
}
