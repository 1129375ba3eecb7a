#include "foundation/WildcardToRegex.h"

bool wildcardToRegex(Str& text, bool escapeBackslash)
{
    if (text.find_first_of(escapeBackslash ? "*.\\" : "*.") == Str::npos) {
        return false;
    }
    Str out;
    out.reserve(text.size() + 16);
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char c = text[i];
        if (c == '*') {
            out += "[^\\\\]*";
        } else if (c == '.') {
            if (i + 2 < n && text[i + 1] == '.' && text[i + 2] == '.') {
                out += ".*";
                i += 2;
            } else {
                out += "\\.";
            }
        } else if (c == '\\' && escapeBackslash) {
            out += "\\\\";
        } else {
            out += c;
        }
    }
    text.swap(out);
    return true;
}
