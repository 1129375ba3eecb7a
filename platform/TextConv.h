#pragma once

#include <cstddef>
#include <string>

// Exact conversion between UTF-8 and the platform's wide strings (UTF-16 on
// Windows, UTF-32 elsewhere). Ill-formed input never fails a conversion: each
// maximal ill-formed subsequence of UTF-8, and each lone surrogate of UTF-16 or
// out-of-range UTF-32 value, becomes U+FFFD.
namespace platform {

// Appends the UTF-8 form of text[0, length) to out. Answers false, with out
// unchanged, if the conversion could not be sized.
bool appendWideAsUtf8(std::string& out, const wchar_t* text, std::size_t length);

// Appends the wide form of text[0, length) to out. Answers false, with out
// unchanged, if the conversion could not be sized.
bool appendUtf8AsWide(std::wstring& out, const char* text, std::size_t length);

// Appends one code point (at most 0x10FFFF) as 1 to 4 bytes of UTF-8.
inline void appendCodePointAsUtf8(std::string& out, char32_t cp)
{
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

}  // namespace platform
