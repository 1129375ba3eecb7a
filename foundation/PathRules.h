#pragma once

#include <string>
#include <string_view>

#include "platform/FileSystem.h"

// The text rules of paths, for one set of spelling conventions. Pathname uses
// the native set; tests run the others too.
class PathRules {
public:
    explicit constexpr PathRules(const platform::PathConventions& c) : conv(c) {}
    static PathRules native() { return PathRules(platform::nativePathConventions()); }

    bool isSeparator(wchar_t c) const { return c == conv.separator || (conv.altSeparator && c == conv.altSeparator); }
    wchar_t separator() const { return conv.separator; }

    // Joins one UTF-8 component: an empty text does nothing; an empty path
    // gets a leading separator unless the text starts with a drive; no doubled
    // separator at the joint.
    void append(std::wstring& path, std::string_view component) const;
    // The last component; a bare root answers its drive and a separator.
    std::wstring basename(const std::wstring& path) const;
    // Everything before the last component; a root stays a root.
    std::wstring dirname(const std::wstring& path) const;
    // Starts with a separator, or a drive, a colon and a separator.
    bool isAbsolute(const std::wstring& path) const;
    // Drops trailing separators, never the first character or a drive root.
    void removeTrailingSeparators(std::wstring& path) const;
    // Doubled separators become one, but a leading network prefix.
    void collapseSeparators(std::wstring& path) const;
    // Removes each ".." with the component before it; leading ".." stay.
    void resolveDotDot(std::wstring& path) const;
    // A root and nothing but separators after it, as "C:" followed by a separator, or "/".
    bool isRoot(const std::wstring& path) const;
    // Wildcards "*" and "?" against a file name, in the names' case rule.
    bool matchesName(std::wstring_view pattern, std::wstring_view name) const;

    // Length of the drive prefix ("C:"), 0 if none.
    size_t driveLength(const std::wstring& path) const;

private:
    // The part that no rule strips: drive with its separator, a leading
    // separator, or a network prefix.
    size_t rootLength(const std::wstring& path) const;

    platform::PathConventions conv;
};
