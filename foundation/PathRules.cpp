#include "foundation/PathRules.h"

#include <vector>

#include "foundation/Str.h"

namespace {

bool isAsciiLetter(wchar_t c)
{
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

wchar_t foldAscii(wchar_t c)
{
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

} // namespace

size_t PathRules::driveLength(const std::wstring& path) const
{
    return conv.driveLetters && path.size() >= 2 && isAsciiLetter(path[0]) && path[1] == L':' ? 2 : 0;
}

size_t PathRules::rootLength(const std::wstring& path) const
{
    if (size_t d = driveLength(path))
        return path.size() > d && isSeparator(path[d]) ? d + 1 : d;
    if (!path.empty() && isSeparator(path[0]))
        return conv.networkPrefix && path.size() >= 2 && isSeparator(path[1]) ? 2 : 1;
    return 0;
}

void PathRules::append(std::wstring& path, std::string_view component) const
{
    if (component.empty())
        return;
    std::wstring wide;
    Str::appendUtf8(wide, component.data(), component.size());
    if (path.empty()) {
        if (driveLength(wide) != 0) {
            path = std::move(wide);
            return;
        }
        path += conv.separator;
    } else if (path.back() != conv.separator) {
        path += conv.separator;
    }
    size_t start = wide.find_first_not_of(conv.separator);
    if (start != std::wstring::npos)
        path.append(wide, start, std::wstring::npos);
}

std::wstring PathRules::basename(const std::wstring& path) const
{
    size_t root = rootLength(path);
    size_t end = path.size();
    while (end > root && isSeparator(path[end - 1]))
        --end;
    if (root > 0 && end == root)
        return path.substr(0, driveLength(path)) + conv.separator;
    size_t start = end;
    while (start > root && !isSeparator(path[start - 1]))
        --start;
    return path.substr(start, end - start);
}

std::wstring PathRules::dirname(const std::wstring& path) const
{
    size_t root = rootLength(path);
    size_t end = path.size();
    while (end > root && isSeparator(path[end - 1]))
        --end;
    while (end > root && !isSeparator(path[end - 1]))
        --end;
    while (end > root && isSeparator(path[end - 1]))
        --end;
    // A root stays ("C:a" keeps "C:"); a bare "a" has no directory.
    return path.substr(0, end);
}

bool PathRules::isAbsolute(const std::wstring& path) const
{
    if (!path.empty() && path[0] == conv.separator)
        return true;
    return driveLength(path) == 2 && path.size() > 2 && path[2] == conv.separator;
}

void PathRules::removeTrailingSeparators(std::wstring& path) const
{
    size_t prefix = 1;
    if (size_t d = driveLength(path))
        prefix = path.size() > d && path[d] == conv.separator ? d + 1 : d;
    while (path.size() > prefix && path.back() == conv.separator)
        path.pop_back();
}

void PathRules::collapseSeparators(std::wstring& path) const
{
    size_t keep = 0;
    if (conv.networkPrefix && path.size() >= 2 && path[0] == conv.separator && path[1] == conv.separator)
        keep = 2;
    std::wstring out = path.substr(0, keep);
    for (size_t i = keep; i < path.size(); ++i) {
        if (path[i] == conv.separator && !out.empty() && out.back() == conv.separator)
            continue;
        out += path[i];
    }
    path = std::move(out);
}

void PathRules::resolveDotDot(std::wstring& path) const
{
    size_t drive = driveLength(path);
    size_t i = drive;
    while (i < path.size() && isSeparator(path[i]))
        ++i;
    size_t lead = i;

    struct Component {
        std::wstring text;
        std::wstring separators;
    };
    std::vector<Component> kept;
    while (i < path.size()) {
        Component c;
        while (i < path.size() && !isSeparator(path[i]))
            c.text += path[i++];
        while (i < path.size() && isSeparator(path[i]))
            c.separators += path[i++];
        if (c.text == L".." && !kept.empty() && kept.back().text != L"..") {
            kept.pop_back();
            // "a\b\.." ends as "a", not "a\".
            if (c.separators.empty() && !kept.empty())
                kept.back().separators.clear();
            continue;
        }
        kept.push_back(std::move(c));
    }

    std::wstring out = path.substr(0, lead);
    for (const Component& c : kept)
        out += c.text + c.separators;
    path = std::move(out);
}

bool PathRules::isRoot(const std::wstring& path) const
{
    size_t root = rootLength(path);
    for (size_t i = root; i < path.size(); ++i) {
        if (!isSeparator(path[i]))
            return false;
    }
    return root > 0;
}

bool PathRules::matchesName(std::wstring_view pattern, std::wstring_view name) const
{
    auto same = [this](wchar_t a, wchar_t b) {
        return conv.caseInsensitiveNames ? foldAscii(a) == foldAscii(b) : a == b;
    };
    size_t p = 0, n = 0;
    size_t starP = std::wstring_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == L'?' || (pattern[p] != L'*' && same(pattern[p], name[n])))) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == L'*') {
            starP = p++;
            starN = n;
        } else if (starP != std::wstring_view::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*')
        ++p;
    return p == pattern.size();
}
