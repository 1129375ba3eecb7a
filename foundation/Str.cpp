#include "foundation/Str.h"

#include <array>
#include <cstdio>
#include <cwctype>
#include <stdexcept>

#include "foundation/CaseTable.h"
#include "platform/TextConv.h"

// ---------------------------------------------------------------- formatting

Str& Str::format(const char* fmt, ...)
{
    clear();
    va_list args;
    va_start(args, fmt);
    appendFormatV(fmt, args);
    va_end(args);
    return *this;
}

Str& Str::appendFormat(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    appendFormatV(fmt, args);
    va_end(args);
    return *this;
}

Str Str::formatted(const char* fmt, ...)
{
    Str s;
    va_list args;
    va_start(args, fmt);
    s.appendFormatV(fmt, args);
    va_end(args);
    return s;
}

Str& Str::appendFormatV(const char* fmt, va_list args)
{
    // Most texts fit the stack buffer and cost one call. Otherwise format
    // straight into this string's tail: a negative answer (a formatter that
    // does not tell the size) doubles the room, a too-large one gives the
    // exact size.
    char stackBuffer[256];
    va_list attempt;
    va_copy(attempt, args);
    int n = std::vsnprintf(stackBuffer, sizeof stackBuffer, fmt, attempt);
    va_end(attempt);
    if (n >= 0 && static_cast<std::size_t>(n) < sizeof stackBuffer) {
        append(stackBuffer, static_cast<std::size_t>(n));
        return *this;
    }
    // Bounds the doubling for a format that fails at every size.
    constexpr std::size_t giveUp = std::size_t{1} << 30;
    const std::size_t oldSize = size();
    std::size_t room = n < 0 ? 2 * sizeof stackBuffer : static_cast<std::size_t>(n) + 1;
    while (room <= giveUp) {
        resize(oldSize + room);
        va_copy(attempt, args);
        n = std::vsnprintf(data() + oldSize, room, fmt, attempt);
        va_end(attempt);
        if (n >= 0 && static_cast<std::size_t>(n) < room) {
            resize(oldSize + static_cast<std::size_t>(n));
            return *this;
        }
        room = n < 0 ? room * 2 : static_cast<std::size_t>(n) + 1;
    }
    resize(oldSize);
    return *this;
}

Str& Str::appendSigned(std::int64_t value)
{
    return appendFormat("%lld", static_cast<long long>(value));
}

Str& Str::appendUnsigned(std::uint64_t value)
{
    return appendFormat("%llu", static_cast<unsigned long long>(value));
}

Str& Str::appendMillis(unsigned milliseconds)
{
    return appendFormat(".%03u", milliseconds);
}

Str Str::fromSigned(std::int64_t value)
{
    Str s;
    s.appendSigned(value);
    return s;
}

Str Str::fromUnsigned(std::uint64_t value)
{
    Str s;
    s.appendUnsigned(value);
    return s;
}

// ---------------------------------------------------------------- wide text

Str& Str::appendWide(const wchar_t* text, std::size_t length)
{
    if (length != 0)
        platform::appendWideAsUtf8(*this, text, length);
    return *this;
}

Str Str::fromWide(std::wstring_view text)
{
    Str s;
    s.appendWide(text);
    return s;
}

void Str::appendUtf8(std::wstring& out, const char* text, std::size_t length)
{
    if (length != 0)
        platform::appendUtf8AsWide(out, text, length);
}

std::wstring Str::toWide() const
{
    std::wstring out;
    appendUtf8(out, data(), size());
    return out;
}

namespace {

int sign(long d) noexcept
{
    return d < 0 ? -1 : (d > 0 ? 1 : 0);
}

int compareBytes(const unsigned char* a, std::size_t lengthA, const unsigned char* b, std::size_t lengthB) noexcept
{
    const std::size_t n = lengthA < lengthB ? lengthA : lengthB;
    for (std::size_t i = 0; i < n; ++i)
        if (a[i] != b[i])
            return sign(long{a[i]} - long{b[i]});
    return lengthA == lengthB ? 0 : (lengthA < lengthB ? -1 : 1);
}

}  // namespace

int Str::compareWide(const char* utf8, std::size_t length, const wchar_t* wide, std::size_t wideLength)
{
    const auto* u = reinterpret_cast<const unsigned char*>(utf8);
    std::size_t i = 0;
    for (; i < length && i < wideLength; ++i) {
        const auto w = static_cast<std::uint32_t>(wide[i]);
        if (u[i] >= 0x80 || w >= 0x80) {
            // Past ASCII the positions no longer match: compare the rest as UTF-8.
            std::string rest;
            platform::appendWideAsUtf8(rest, wide + i, wideLength - i);
            return compareBytes(u + i, length - i, reinterpret_cast<const unsigned char*>(rest.data()),
                                rest.size());
        }
        if (u[i] != w)
            return u[i] < w ? -1 : 1;
    }
    return length == wideLength ? 0 : (length < wideLength ? -1 : 1);
}

// ---------------------------------------------------------------- trims

Str& Str::trim()
{
    return trimRight().trimLeft();
}

Str& Str::trimLeft()
{
    const std::size_t first = ::findInClass(CharClass::whitespace, data(), size(), 0, false);
    erase(0, first == npos ? size() : first);
    return *this;
}

Str& Str::trimRight()
{
    std::size_t end = size();
    while (end > 0 && CharClass::whitespace.contains((*this)[end - 1]))
        --end;
    resize(end);
    return *this;
}

void Str::trim(std::wstring& s)
{
    trimRight(s);
    trimLeft(s);
}

void Str::trimLeft(std::wstring& s)
{
    std::size_t first = 0;
    while (first < s.size() && std::iswspace(static_cast<std::wint_t>(s[first])))
        ++first;
    s.erase(0, first);
}

void Str::trimRight(std::wstring& s)
{
    std::size_t end = s.size();
    while (end > 0 && std::iswspace(static_cast<std::wint_t>(s[end - 1])))
        --end;
    s.resize(end);
}

// ---------------------------------------------------------------- case

namespace {

// One character under the lenient rule of the case functions: leads 194..223,
// 224..239 and 240..244 take 1, 2 and 3 continuation bytes (surrogates and
// values past U+10FFFF pass; they have no case). Anything else is a single
// malformed byte (length 1, valid false).
struct Utf8Char {
    char32_t cp;
    unsigned length;
    bool valid;
};

Utf8Char decodeLenient(const unsigned char* s, std::size_t avail) noexcept
{
    const unsigned char lead = s[0];
    if (lead < 0x80)
        return {lead, 1, true};
    unsigned need;
    char32_t cp;
    if (lead >= 194 && lead <= 223) {
        need = 1;
        cp = lead & 0x1F;
    } else if (lead >= 224 && lead <= 239) {
        need = 2;
        cp = lead & 0x0F;
    } else if (lead >= 240 && lead <= 244) {
        need = 3;
        cp = lead & 0x07;
    } else {
        return {lead, 1, false};
    }
    if (avail <= need)
        return {lead, 1, false};
    for (unsigned k = 1; k <= need; ++k) {
        if ((s[k] & 0xC0) != 0x80)
            return {lead, 1, false};
        cp = (cp << 6) | (s[k] & 0x3F);
    }
    // An overlong form is no character: mapping it would rewrite its bytes.
    if ((need == 2 && cp < 0x800) || (need == 3 && cp < 0x10000))
        return {lead, 1, false};
    return {cp, need + 1, true};
}

// The comparison key of the character at s: its lower-case code point, or,
// for a malformed byte, a value above every code point.
std::uint32_t foldedKey(const unsigned char* s, std::size_t avail, unsigned& length) noexcept
{
    if (s[0] < 0x80) {
        length = 1;
        return (s[0] >= 'A' && s[0] <= 'Z') ? s[0] + 32u : s[0];
    }
    const Utf8Char c = decodeLenient(s, avail);
    length = c.length;
    return c.valid ? static_cast<std::uint32_t>(CaseTable::toLower(c.cp)) : 0x200000u + s[0];
}

}  // namespace

void Str::appendLower(Str& out, const char* bytes, std::size_t length)
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    out.reserve(out.size() + length);
    std::size_t i = 0;
    while (i < length) {
        if (s[i] < 0x80) {
            out.push_back(static_cast<char>((s[i] >= 'A' && s[i] <= 'Z') ? s[i] + 32 : s[i]));
            ++i;
            continue;
        }
        const Utf8Char c = decodeLenient(s + i, length - i);
        const char32_t lower = c.valid ? CaseTable::toLower(c.cp) : c.cp;
        // Unchanged characters are copied as they stand, so that lenient
        // decoding never rewrites bytes.
        if (lower == c.cp)
            out.append(bytes + i, c.length);
        else
            platform::appendCodePointAsUtf8(out, lower);
        i += c.length;
    }
}

void Str::toLower(Str& out) const
{
    Str lowered;
    appendLower(lowered, data(), size());
    out.swap(lowered);
}

Str Str::toLower() const
{
    Str lowered;
    appendLower(lowered, data(), size());
    return lowered;
}

int Str::compareNoCase(const char* a, std::size_t lengthA, const char* b, std::size_t lengthB) noexcept
{
    const auto* sa = reinterpret_cast<const unsigned char*>(a);
    const auto* sb = reinterpret_cast<const unsigned char*>(b);
    std::size_t i = 0, j = 0;
    while (i < lengthA && j < lengthB) {
        unsigned la, lb;
        const std::uint32_t ka = foldedKey(sa + i, lengthA - i, la);
        const std::uint32_t kb = foldedKey(sb + j, lengthB - j, lb);
        if (ka != kb)
            return ka < kb ? -1 : 1;
        i += la;
        j += lb;
    }
    const bool endA = i >= lengthA, endB = j >= lengthB;
    return endA == endB ? 0 : (endA ? -1 : 1);
}

// ---------------------------------------------------------------- UTF-8

Str Str::substrChars(std::size_t start, std::size_t count) const
{
    // Lengths are judged by the lead byte alone, as the callers count them.
    const auto charLength = [](unsigned char lead) -> std::size_t {
        if (lead < 128)
            return 1;
        if (lead < 224)
            return 2;
        if (lead < 240)
            return 3;
        return lead <= 244 ? 4 : 1;
    };
    const auto* s = reinterpret_cast<const unsigned char*>(data());
    std::size_t from = 0;
    for (std::size_t k = 0; k < start; ++k) {
        if (from >= size())
            throw std::logic_error(*this + " accessed out of range");
        from += charLength(s[from]);
    }
    if (from > size())
        from = size();
    std::size_t to = from;
    for (std::size_t k = 0; k < count && to < size(); ++k)
        to += charLength(s[to]);
    if (to > size())
        to = size();
    return Str(data() + from, to - from);
}

bool Str::isValidUtf8(const char* bytes, std::size_t length) noexcept
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    std::size_t i = 0;
    while (i < length) {
        const unsigned char lead = s[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        // The second byte's bounds exclude overlong forms, surrogates and
        // values past U+10FFFF.
        std::size_t need;
        unsigned char lo = 0x80, hi = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            need = 1;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            need = 2;
            lo = lead == 0xE0 ? 0xA0 : 0x80;
            hi = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            need = 3;
            lo = lead == 0xF0 ? 0x90 : 0x80;
            hi = lead == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (length - i <= need)
            return false;
        for (std::size_t k = 1; k <= need; ++k) {
            if (s[i + k] < lo || s[i + k] > hi)
                return false;
            lo = 0x80;
            hi = 0xBF;
        }
        i += need + 1;
    }
    return true;
}

// ---------------------------------------------------------------- escapers

Str& Str::appendCsv(const StrSegment& text)
{
    if (text.findInClass(CharClass::csvSpecials) == npos) {
        append(text.data(), text.size());
        return *this;
    }
    reserve(size() + text.size() + 2);
    push_back('"');
    for (char c : text) {
        if (c == '"')
            push_back('"');
        push_back(c);
    }
    push_back('"');
    return *this;
}

namespace {

constexpr char hexUpper[] = "0123456789ABCDEF";

// "%XX" for every byte, made once at compile time.
constexpr std::array<std::array<char, 3>, 256> percentTexts = [] {
    std::array<std::array<char, 3>, 256> t{};
    for (unsigned b = 0; b < 256; ++b)
        t[b] = {'%', hexUpper[b >> 4], hexUpper[b & 15]};
    return t;
}();

int hexValue(char c) noexcept
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

}  // namespace

Str& Str::urlEncode()
{
    const std::size_t first = ::findInClass(CharClass::urlUnreserved, data(), size(), 0, false);
    if (first == npos)
        return *this;
    Str encoded;
    encoded.reserve(size() + 2 * (size() - first) + 8);
    encoded.append(data(), first);
    for (std::size_t i = first; i < size(); ++i) {
        const char c = (*this)[i];
        if (CharClass::urlUnreserved.contains(c))
            encoded.push_back(c);
        else
            encoded.append(percentTexts[static_cast<unsigned char>(c)].data(), 3);
    }
    swap(encoded);
    return *this;
}

bool Str::urlDecode()
{
    if (::findInClass(CharClass::urlSpecials, data(), size(), 0, true) == npos)
        return isValidUtf8();
    Str decoded;
    decoded.reserve(size());
    for (std::size_t i = 0; i < size(); ++i) {
        const char c = (*this)[i];
        if (c == '+') {
            decoded.push_back(' ');
        } else if (c == '%' && i + 2 < size() && hexValue((*this)[i + 1]) >= 0 && hexValue((*this)[i + 2]) >= 0) {
            decoded.push_back(static_cast<char>(hexValue((*this)[i + 1]) * 16 + hexValue((*this)[i + 2])));
            i += 2;
        } else {
            decoded.push_back(c);
        }
    }
    if (!decoded.isValidUtf8())
        return false;
    swap(decoded);
    return true;
}

void Str::backslashEscape(Str& out, char quote) const
{
    out.reserve(out.size() + size() + 2);
    for (char c : *this) {
        if (c == '\n') {
            out.append("\\n", 2);
        } else if (c == '\r') {
            out.append("\\r", 2);
        } else if (c == '\\') {
            out.append("\\\\", 2);
        } else {
            if (quote != '\0' && c == quote)
                out.push_back('\\');
            out.push_back(c);
        }
    }
    if (quote != '\0')
        out.push_back(quote);
}

Str& Str::cleanControlChars()
{
    const auto isPlain = [](char c) { return c >= 32 && c <= 126; };
    std::size_t first = 0;
    while (first < size() && isPlain((*this)[first]))
        ++first;
    if (first == size())
        return *this;
    Str cleaned;
    cleaned.reserve(size() + 8);
    cleaned.append(data(), first);
    for (std::size_t i = first; i < size(); ++i) {
        const char c = (*this)[i];
        if (isPlain(c)) {
            cleaned.push_back(c);
        } else if (c == '\t') {
            cleaned.push_back(' ');
        } else if (c == '\n') {
            cleaned.append("\\n", 2);
        } else if (c == '\r') {
            cleaned.append("\\r", 2);
        } else {
            const auto b = static_cast<unsigned char>(c);
            const char hex[4] = {'\\', 'x', hexUpper[b >> 4], hexUpper[b & 15]};
            cleaned.append(hex, 4);
        }
    }
    swap(cleaned);
    return *this;
}

bool Str::stripQuotes(char quote)
{
    if (size() < 2 || front() != quote || back() != quote)
        return false;
    erase(size() - 1);
    erase(0, 1);
    return true;
}
