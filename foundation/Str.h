#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/CharClass.h"
#include "foundation/StrSegment.h"
#include "foundation/StrSegmentTokenAcceptor.h"

#if defined(__GNUC__) && !defined(__clang__)
#define TOLVIK_PRINTF_FORMAT(fmt, args) __attribute__((format(gnu_printf, fmt, args)))
#elif defined(__clang__)
#define TOLVIK_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define TOLVIK_PRINTF_FORMAT(fmt, args)
#endif

// The program's string: bytes of UTF-8 on the standard string. Wide strings
// appear only at the OS border and are converted explicitly.
class Str : public std::string {
public:
    using std::string::string;
    using std::string::operator=;

    Str() noexcept = default;
    Str(const std::string& s) : std::string(s) {}              // NOLINT: implicit by design
    Str(std::string&& s) noexcept : std::string(std::move(s)) {} // NOLINT
    explicit Str(const StrSegment& s) : std::string(s.data(), s.size()) {}

    StrSegment segment() const noexcept { return StrSegment(*this); }

    // The standard appends, answering Str& so that Str calls chain after them.
    template <typename... Args>
    Str& append(Args&&... args)
    {
        std::string::append(std::forward<Args>(args)...);
        return *this;
    }
    template <typename T>
    Str& operator+=(T&& value)
    {
        std::string::operator+=(std::forward<T>(value));
        return *this;
    }

    // --- formatting (printf syntax) ---
    Str& format(const char* fmt, ...) TOLVIK_PRINTF_FORMAT(2, 3);
    Str& appendFormat(const char* fmt, ...) TOLVIK_PRINTF_FORMAT(2, 3);
    Str& appendFormatV(const char* fmt, va_list args) TOLVIK_PRINTF_FORMAT(2, 0);
    static Str formatted(const char* fmt, ...) TOLVIK_PRINTF_FORMAT(1, 2);

    // --- numbers as text ---
    Str& appendSigned(std::int64_t value);    // "%lld"
    Str& appendUnsigned(std::uint64_t value); // "%llu"
    Str& appendMillis(unsigned milliseconds); // ".%03u", the fraction of a second
    static Str fromSigned(std::int64_t value);
    static Str fromUnsigned(std::uint64_t value);

    // --- wide conversion (see platform/TextConv.h for ill-formed input) ---
    Str& appendWide(const wchar_t* text, std::size_t length);
    Str& appendWide(std::wstring_view text) { return appendWide(text.data(), text.size()); }
    static Str fromWide(std::wstring_view text);
    static void appendUtf8(std::wstring& out, const char* text, std::size_t length);
    static void appendUtf8(std::wstring& out, const StrSegment& text) { appendUtf8(out, text.data(), text.size()); }
    std::wstring toWide() const;
    // 0 if equal, else the sign of the first difference in UTF-8 byte order,
    // a shorter string being the lesser. Allocates nothing while both are ASCII.
    static int compareWide(const char* utf8, std::size_t length, const wchar_t* wide, std::size_t wideLength);
    int compareWide(std::wstring_view wide) const { return compareWide(data(), size(), wide.data(), wide.size()); }

    // --- strict parsing (see StrSegment) ---
    bool parseUnsigned64(std::uint64_t& out, int base = 10) const noexcept { return segment().parseUnsigned64(out, base); }
    bool parseSigned64(std::int64_t& out, int base = 10) const noexcept { return segment().parseSigned64(out, base); }
    bool parseUnsigned32(std::uint32_t& out, int base = 10) const noexcept { return segment().parseUnsigned32(out, base); }
    bool parseSigned32(std::int32_t& out, int base = 10) const noexcept { return segment().parseSigned32(out, base); }
    bool parseUnsigned16(std::uint16_t& out, int base = 10) const noexcept { return segment().parseUnsigned16(out, base); }
    bool parseSigned16(std::int16_t& out, int base = 10) const noexcept { return segment().parseSigned16(out, base); }
    bool parseDouble(double& out) const noexcept { return segment().parseDouble(out); }
    bool parseBool(bool& out) const noexcept { return segment().parseBool(out); }

    // --- tokenising without copies (see StrSegment::split) ---
    static void split(const StrSegment& text, StrSegmentTokenAcceptor& acceptor, char separator, int maxSplits = -1)
    {
        text.split(acceptor, separator, maxSplits);
    }
    static void split(const StrSegment& text, StrSegmentTokenAcceptor& acceptor, const StrSegment& separator,
                      int maxSplits = -1)
    {
        text.split(acceptor, separator, maxSplits);
    }
    static void split(const StrSegment& text, StrSegmentTokenAcceptor& acceptor, const CharClass& separators,
                      int maxSplits = -1)
    {
        text.split(acceptor, separators, maxSplits);
    }

    // --- trims ---
    Str& trim();      // CharClass::whitespace at both ends
    Str& trimLeft();
    Str& trimRight();
    static void trim(std::wstring& s);  // iswspace
    static void trimLeft(std::wstring& s);
    static void trimRight(std::wstring& s);

    // --- case ---
    // Unicode simple (one-to-one) lower-casing; bytes that are not well-formed
    // UTF-8 are kept as they are.
    void toLower(Str& out) const;
    Str toLower() const;
    static void appendLower(Str& out, const char* bytes, std::size_t length);
    // 0 if equal after lower-casing both sides, else the sign of the first
    // differing character (code point order; a malformed byte sorts after all
    // characters). A shorter string is the lesser.
    static int compareNoCase(const char* a, std::size_t lengthA, const char* b, std::size_t lengthB) noexcept;
    int compareNoCase(const StrSegment& other) const noexcept
    {
        return compareNoCase(data(), size(), other.data(), other.size());
    }
    bool equalsNoCase(const StrSegment& other) const noexcept { return compareNoCase(other) == 0; }

    // --- UTF-8 ---
    // Positions in characters, a character's length judged by its lead byte.
    // count npos (-1) means to the end. Throws std::logic_error if start lies
    // past the last character.
    Str substrChars(std::size_t start, std::size_t count = npos) const;
    static bool isValidUtf8(const char* bytes, std::size_t length) noexcept;
    bool isValidUtf8() const noexcept { return isValidUtf8(data(), size()); }

    // --- escapers ---
    // Appends text as one CSV field: quoted, with inner quotes doubled, if it
    // holds any of CharClass::csvSpecials.
    Str& appendCsv(const StrSegment& text);
    // Percent-encodes (upper-case hex) every byte outside CharClass::urlUnreserved.
    Str& urlEncode();
    // "%XX" gives a byte, '+' a blank, a '%' without two hex digits stays.
    // Answers false, leaving the string as it was, if the result (or the text
    // itself, when there is nothing to decode) is not valid UTF-8.
    bool urlDecode();
    // Appends this string to out with '\n', '\r' and '\\' escaped; a non-zero
    // quote is escaped too and closes the output (the caller opened it).
    void backslashEscape(Str& out, char quote = '\0') const;
    // In place: bytes 32..126 stay, tab becomes a blank, '\n' and '\r' become
    // "\\n" and "\\r", any other byte "\\xHH".
    Str& cleanControlChars();
    // Removes the quote at both ends if the string has at least two bytes and
    // both ends are quote. Answers whether it did.
    bool stripQuotes(char quote = '"');
};

template <>
struct std::hash<Str> {
    std::size_t operator()(const Str& s) const noexcept { return std::hash<std::string_view>{}(s); }
};
