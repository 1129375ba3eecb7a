#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "foundation/RetryReport.h"
#include "foundation/Str.h"

class FileOperations;

// A path as the OS takes it: a wide string under the platform's rules
// (backslashes and drive letters on Windows, slashes elsewhere). Empty means
// none. Operations answer with a bool or a report and leave the OS's last
// error in place for the caller.
class Pathname : public std::wstring {
public:
    using std::wstring::wstring;
    Pathname() = default;
    Pathname(const std::wstring& s) : std::wstring(s) {}              // NOLINT: implicit by design
    Pathname(std::wstring&& s) noexcept : std::wstring(std::move(s)) {} // NOLINT

    static Pathname fromUtf8(std::string_view text);
    Str toUtf8() const { return Str::fromWide(*this); }

    // Joining and splitting.
    Pathname& append(std::string_view component);
    // A new path, this one unchanged: home / "etc" / "log.cfg".
    Pathname operator/(std::string_view component) const;
    Pathname basename() const;
    Pathname dirname() const;
    bool isAbsolute() const;

    // Normal forms.
    Pathname& removeTrailingSeparators();
    Pathname& collapseSeparators();
    Pathname& resolveDotDot();

    // Files. kind(): 0 nothing, 1 file, 2 directory, 3 device.
    int kind() const;
    bool exists() const { return kind() != 0; }
    // Replaces an existing target.
    bool rename(const Pathname& target) const;
    // Renames, trying again after delayMs while the error is one that may pass
    // (a sharing violation, say), at most `attempts` times in all.
    RetryReport renameWithRetry(const Pathname& target, uint32_t attempts, uint32_t delayMs) const;
    RetryReport renameWithRetry(const Pathname& target, uint32_t attempts, uint32_t delayMs,
                                FileOperations& ops) const;
    // A rename that also works between volumes, by a copy into a temporary
    // file beside the target and a rename of that. The target is either whole
    // or untouched. The source is left where it is once copied; callers that
    // want it gone remove it.
    bool moveAcrossVolumes(const Pathname& target) const;
    bool moveAcrossVolumes(const Pathname& target, FileOperations& ops) const;
    // A copy onto the same file answers true and touches nothing.
    bool copyTo(const Pathname& target) const;
    // Parents first. True for an empty path, a bare root or an existing directory.
    bool makeDirectories(uint32_t mode = 0755) const;
    bool removeFile() const;
    // The directory and all below it; goes on past failures and then answers false.
    bool removeTree() const;
    // The entries of this directory whose names match the wildcard filter
    // ("*" and "?"), or all with an empty filter.
    bool removeContents(std::wstring_view filter = {}) const;
    // A stdio stream on this path; mode as fopen takes it. Null on failure.
    std::FILE* openFile(const char* mode) const;
    // Bytes free to the caller on this path's volume.
    bool freeSpace(uint64_t& bytes) const;

    // Command-line text: quoted if it holds white space, with backslashes
    // doubled before a quote as the usual command-line parsing expects.
    Pathname quoteForCommandLine() const;
    // The reverse, on a whole command line: the first argument in word, what
    // follows in rest. False for an unclosed quote or an empty word.
    bool nextArgument(std::wstring& word, std::wstring& rest) const;

private:
    Pathname child(const std::wstring& name) const;
    bool removeEntry(const Pathname& path, bool isDirectory, bool isLink) const;
};
