#pragma once

#include <cstddef>
#include <string>

// How often what occurs in text, overlaps included.
inline std::size_t countOf(const std::string& text, const std::string& what)
{
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}
