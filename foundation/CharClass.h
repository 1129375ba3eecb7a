#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// A set of bytes as a 256-bit table. The named classes are constant
// expressions, so scanning with them needs neither allocation nor start-up
// order.
class CharClass {
public:
    constexpr CharClass() noexcept : bits{} {}

    constexpr explicit CharClass(std::string_view members) noexcept : bits{}
    {
        for (char c : members) {
            const auto b = static_cast<unsigned char>(c);
            bits[b >> 6] |= std::uint64_t{1} << (b & 63);
        }
    }

    constexpr CharClass operator|(const CharClass& other) const noexcept
    {
        CharClass r;
        for (int i = 0; i < 4; ++i)
            r.bits[i] = bits[i] | other.bits[i];
        return r;
    }

    constexpr bool contains(unsigned char b) const noexcept
    {
        return ((bits[b >> 6] >> (b & 63)) & 1) != 0;
    }
    constexpr bool contains(char c) const noexcept { return contains(static_cast<unsigned char>(c)); }

    static const CharClass whitespace;      // blank, \t, \n, \v, \f, \r
    static const CharClass digits;
    static const CharClass letters;         // ASCII letters
    static const CharClass identifierStart; // letters and '_'
    static const CharClass alphanumerics;
    static const CharClass identifier;      // digits, letters, '_'
    static const CharClass name;            // identifier and '-'
    static const CharClass dottedName;      // name and '.'
    static const CharClass listSeparators;  // blank and ','
    static const CharClass quoteBackslash;  // '"' and '\\'
    static const CharClass csvSpecials;     // ',', '\r', '\n', '"'
    static const CharClass urlUnreserved;
    static const CharClass hexDigits;
    static const CharClass urlSpecials;     // '%' and '+'

private:
    std::uint64_t bits[4];
};

inline constexpr CharClass CharClass::whitespace{" \t\n\v\f\r"};
inline constexpr CharClass CharClass::digits{"0123456789"};
inline constexpr CharClass CharClass::letters{"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"};
inline constexpr CharClass CharClass::identifierStart = CharClass::letters | CharClass{"_"};
inline constexpr CharClass CharClass::alphanumerics = CharClass::digits | CharClass::letters;
inline constexpr CharClass CharClass::identifier = CharClass::alphanumerics | CharClass{"_"};
inline constexpr CharClass CharClass::name = CharClass::identifier | CharClass{"-"};
inline constexpr CharClass CharClass::dottedName = CharClass::name | CharClass{"."};
inline constexpr CharClass CharClass::listSeparators{" ,"};
inline constexpr CharClass CharClass::quoteBackslash{"\"\\"};
inline constexpr CharClass CharClass::csvSpecials{",\r\n\""};
inline constexpr CharClass CharClass::urlUnreserved{
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~"};
inline constexpr CharClass CharClass::hexDigits{"0123456789abcdefABCDEF"};
inline constexpr CharClass CharClass::urlSpecials{"%+"};

// The first position at or after start whose membership in table equals
// wanted, or size_t(-1) (Str::npos) if there is none.
inline std::size_t findInClass(const CharClass& table, const char* bytes, std::size_t length,
                               std::size_t start, bool wanted) noexcept
{
    for (std::size_t i = start; i < length; ++i)
        if (table.contains(bytes[i]) == wanted)
            return i;
    return static_cast<std::size_t>(-1);
}
