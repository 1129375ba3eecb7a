#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "foundation/CharClass.h"

class Str;
class StrSegmentTokenAcceptor;

// A non-owning view of bytes (normally UTF-8): a pointer and a 32-bit length.
// Valid only while the bytes it points to are. Positions are size_t and a
// missing position is npos, the same value as Str::npos.
class StrSegment {
public:
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    constexpr StrSegment() noexcept = default;
    constexpr StrSegment(const char* bytes, std::uint32_t length) noexcept : ptr(bytes), len(length) {}
    StrSegment(const char* cstr) noexcept  // NOLINT: implicit by design
        : ptr(cstr), len(cstr ? static_cast<std::uint32_t>(std::strlen(cstr)) : 0) {}
    StrSegment(const std::string& s) noexcept  // NOLINT
        : ptr(s.data()), len(static_cast<std::uint32_t>(s.size())) {}
    constexpr StrSegment(std::string_view v) noexcept  // NOLINT
        : ptr(v.data()), len(static_cast<std::uint32_t>(v.size())) {}

    constexpr const char* data() const noexcept { return ptr; }
    constexpr std::uint32_t size() const noexcept { return len; }
    constexpr std::uint32_t length() const noexcept { return len; }
    constexpr bool empty() const noexcept { return len == 0; }
    constexpr const char* begin() const noexcept { return ptr; }
    constexpr const char* end() const noexcept { return ptr + len; }
    constexpr char operator[](std::size_t i) const noexcept { return ptr[i]; }
    constexpr char front() const noexcept { return ptr[0]; }
    constexpr char back() const noexcept { return ptr[len - 1]; }

    constexpr std::string_view view() const noexcept { return {ptr, len}; }
    constexpr operator std::string_view() const noexcept { return view(); }
    Str str() const;

    // Clamped like std::string_view::substr, but never throws: a start past
    // the end gives an empty segment.
    StrSegment substr(std::size_t start, std::size_t count = npos) const noexcept;
    void removePrefix(std::uint32_t n) noexcept;
    void removeSuffix(std::uint32_t n) noexcept;

    std::size_t find(char c, std::size_t start = 0) const noexcept;
    std::size_t find(const StrSegment& needle, std::size_t start = 0) const noexcept;
    std::size_t rfind(char c, std::size_t start = npos) const noexcept;
    std::size_t findInClass(const CharClass& table, std::size_t start = 0, bool wanted = true) const noexcept;
    bool startsWith(const StrSegment& prefix) const noexcept;
    bool endsWith(const StrSegment& suffix) const noexcept;

    // Byte order, as memcmp; a shorter string is the lesser.
    int compare(const StrSegment& other) const noexcept;
    friend bool operator==(const StrSegment& a, const StrSegment& b) noexcept { return a.view() == b.view(); }
    friend std::strong_ordering operator<=>(const StrSegment& a, const StrSegment& b) noexcept
    {
        return a.view() <=> b.view();
    }

    // Unicode simple lower-casing on both sides (see Str::compareNoCase).
    int compareNoCase(const StrSegment& other) const noexcept;
    bool equalsNoCase(const StrSegment& other) const noexcept { return compareNoCase(other) == 0; }
    // Replaces out with the lower-case form of this segment.
    void toLower(Str& out) const;

    // Narrow trims remove bytes of CharClass::whitespace; the segment shrinks,
    // nothing is copied.
    StrSegment& trim() noexcept;
    StrSegment& trimLeft() noexcept;
    StrSegment& trimRight() noexcept;

    // Strict parsers: leading white space is skipped, then the whole rest must
    // be the number. They answer false on anything else, out of range
    // included; out is then unspecified. Unsigned forms refuse a '-' sign.
    // base is as for strtoull: 0 detects "0x" and "0" prefixes.
    bool parseUnsigned64(std::uint64_t& out, int base = 10) const noexcept;
    bool parseSigned64(std::int64_t& out, int base = 10) const noexcept;
    bool parseUnsigned32(std::uint32_t& out, int base = 10) const noexcept;
    bool parseSigned32(std::int32_t& out, int base = 10) const noexcept;
    bool parseUnsigned16(std::uint16_t& out, int base = 10) const noexcept;
    bool parseSigned16(std::int16_t& out, int base = 10) const noexcept;
    // strtod's syntax; overflow is refused, underflow gives the nearest value.
    bool parseDouble(double& out) const noexcept;
    // "" -> false; "0", "f", "false", "no" -> false; "1", "t", "true", "yes"
    // -> true (letters in any case); anything else is refused.
    bool parseBool(bool& out) const noexcept;

    // Hands each token to acceptor. Every separator ends a token, even an
    // empty one; the last token is the rest after the last split. An empty
    // text gives no token. maxSplits -1 is no limit, 0 makes the whole text one
    // token. An empty separator string splits nothing.
    void split(StrSegmentTokenAcceptor& acceptor, char separator, int maxSplits = -1) const;
    void split(StrSegmentTokenAcceptor& acceptor, const StrSegment& separator, int maxSplits = -1) const;
    void split(StrSegmentTokenAcceptor& acceptor, const CharClass& separators, int maxSplits = -1) const;

    bool isValidUtf8() const noexcept;
    std::wstring toWide() const;

private:
    const char* ptr = nullptr;
    std::uint32_t len = 0;
};

template <>
struct std::hash<StrSegment> {
    std::size_t operator()(const StrSegment& s) const noexcept { return std::hash<std::string_view>{}(s.view()); }
};
