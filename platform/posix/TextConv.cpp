#include "platform/TextConv.h"

#include <cstdint>

// wchar_t is UTF-32 here; the conversions are written out by hand so that
// they are exact and agree with the Windows API on ill-formed input.
static_assert(sizeof(wchar_t) == 4, "POSIX wide strings are expected to be UTF-32");

namespace platform {

namespace {

constexpr char32_t replacement = 0xFFFD;

}  // namespace

bool appendWideAsUtf8(std::string& out, const wchar_t* text, std::size_t length)
{
    out.reserve(out.size() + length);
    std::size_t i = 0;
    while (i < length) {
        // Runs of ASCII, most of any text here, are copied a run at a time.
        std::size_t run = i;
        while (run < length && static_cast<std::uint32_t>(text[run]) < 0x80) {
            ++run;
        }
        if (run > i) {
            const std::size_t at = out.size();
            out.resize(at + (run - i));
            for (char* p = out.data() + at; i < run; ++i, ++p) {
                *p = static_cast<char>(text[i]);
            }
            continue;
        }
        const auto cp = static_cast<char32_t>(text[i++]);
        const bool valid = cp < 0x110000 && (cp < 0xD800 || cp > 0xDFFF);
        appendCodePointAsUtf8(out, valid ? cp : replacement);
    }
    return true;
}

bool appendUtf8AsWide(std::wstring& out, const char* text, std::size_t length)
{
    const auto* s = reinterpret_cast<const unsigned char*>(text);
    out.reserve(out.size() + length);
    std::size_t i = 0;
    while (i < length) {
        const unsigned char lead = s[i];
        if (lead < 0x80) {
            out.push_back(static_cast<wchar_t>(lead));
            ++i;
            continue;
        }
        // Well-formed sequences after the Unicode standard's table 3-7; the
        // bounds of the second byte exclude overlong forms, surrogates and
        // values past U+10FFFF.
        int need;
        char32_t cp;
        unsigned char lo = 0x80, hi = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            need = 1;
            cp = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            need = 2;
            cp = lead & 0x0F;
            if (lead == 0xE0)
                lo = 0xA0;
            else if (lead == 0xED)
                hi = 0x9F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            need = 3;
            cp = lead & 0x07;
            if (lead == 0xF0)
                lo = 0x90;
            else if (lead == 0xF4)
                hi = 0x8F;
        } else {
            out.push_back(static_cast<wchar_t>(replacement));
            ++i;
            continue;
        }
        // A truncated or broken sequence is replaced as a whole (its maximal
        // subpart), and decoding resumes at the byte that broke it.
        std::size_t j = i + 1;
        int got = 0;
        while (got < need && j < length && s[j] >= lo && s[j] <= hi) {
            cp = (cp << 6) | (s[j] & 0x3F);
            ++j;
            ++got;
            lo = 0x80;
            hi = 0xBF;
        }
        out.push_back(static_cast<wchar_t>(got == need ? cp : replacement));
        i = j;
    }
    return true;
}

}  // namespace platform
