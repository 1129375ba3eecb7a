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

}  // namespace platform
