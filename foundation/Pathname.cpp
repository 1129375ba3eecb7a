#include "foundation/Pathname.h"

#include <cstdio>
#include <random>
#include <vector>

#include "foundation/FileOperations.h"
#include "foundation/PathRules.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"

namespace {

bool isCommandLineBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n';
}

// Closes on every path out and keeps the last error across the close.
class OpenFile {
public:
    explicit OpenFile(platform::FileHandle h) : handle(h) {}
    ~OpenFile()
    {
        if (handle) {
            platform::LastOsErrorSaver keep;
            platform::closeFile(handle);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    platform::FileHandle handle;
};

bool copyContents(platform::FileHandle from, const Pathname& to)
{
    OpenFile out(platform::createFileForWriting(to));
    if (!out.handle)
        return false;
    std::vector<char> buffer(64 * 1024);
    for (;;) {
        long n = platform::readFile(from, buffer.data(), static_cast<uint32_t>(buffer.size()));
        if (n < 0)
            return false;
        if (n == 0)
            break;
        if (!platform::writeFile(out.handle, buffer.data(), static_cast<uint32_t>(n)))
            return false;
    }
    platform::FileHandle h = out.handle;
    out.handle = nullptr;
    return platform::closeFile(h);
}

} // namespace

Pathname Pathname::fromUtf8(std::string_view text)
{
    Pathname p;
    Str::appendUtf8(p, text.data(), text.size());
    return p;
}

Pathname& Pathname::append(std::string_view component)
{
    PathRules::native().append(*this, component);
    return *this;
}

Pathname Pathname::operator/(std::string_view component) const
{
    Pathname p = *this;
    p.append(component);
    return p;
}

Pathname Pathname::basename() const
{
    return PathRules::native().basename(*this);
}

Pathname Pathname::dirname() const
{
    return PathRules::native().dirname(*this);
}

bool Pathname::isAbsolute() const
{
    return PathRules::native().isAbsolute(*this);
}

Pathname& Pathname::removeTrailingSeparators()
{
    PathRules::native().removeTrailingSeparators(*this);
    return *this;
}

Pathname& Pathname::collapseSeparators()
{
    PathRules::native().collapseSeparators(*this);
    return *this;
}

Pathname& Pathname::resolveDotDot()
{
    PathRules::native().resolveDotDot(*this);
    return *this;
}

int Pathname::kind() const
{
    return platform::fileKind(*this);
}

bool Pathname::rename(const Pathname& target) const
{
    return platform::renameReplacing(*this, target);
}

RetryReport Pathname::renameWithRetry(const Pathname& target, uint32_t attempts, uint32_t delayMs) const
{
    return renameWithRetry(target, attempts, delayMs, FileOperations::native());
}

RetryReport Pathname::renameWithRetry(const Pathname& target, uint32_t attempts, uint32_t delayMs,
                                      FileOperations& ops) const
{
    RetryReport report;
    report.operation = "Rename";
    report.first = Timeval::now();
    for (;;) {
        ++report.attempts;
        report.last = Timeval::now();
        if (ops.rename(*this, target)) {
            report.succeeded = true;
            return report;
        }
        report.status = platform::lastOsError();
        if (!platform::isTransientFileError(report.status) || attempts < 2)
            break;
        --attempts;
        ops.sleep(delayMs);
    }
    platform::setLastOsError(report.status);
    return report;
}

bool Pathname::moveAcrossVolumes(const Pathname& target) const
{
    return moveAcrossVolumes(target, FileOperations::native());
}

bool Pathname::moveAcrossVolumes(const Pathname& target, FileOperations& ops) const
{
    if (!exists())
        return false;
    if (ops.rename(*this, target))
        return true;
    if (platform::lastOsError() != platform::FILE_ERROR_CROSS_DEVICE)
        return false;

    Pathname directory = target.dirname();
    std::random_device random;
    Pathname temporary;
    for (int i = 0; i < 5 && temporary.empty(); ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "%08x.rename_tmp", static_cast<unsigned>(random()));
        Pathname candidate = directory.empty() ? fromUtf8(name) : directory / name;
        if (ops.createExclusive(candidate))
            temporary = std::move(candidate);
    }
    if (temporary.empty())
        return false;

    if (ops.copy(*this, temporary) && ops.rename(temporary, target))
        return true;
    platform::LastOsErrorSaver keep;
    ops.removeFile(temporary);
    return false;
}

bool Pathname::copyTo(const Pathname& target) const
{
    OpenFile source(platform::openFileForReading(*this));
    if (!source.handle)
        return false;
    bool targetOpened = false;
    {
        OpenFile existing(platform::openFileForReading(target));
        if (existing.handle) {
            // Copying a file onto itself would truncate it first.
            platform::FileIdentity a {}, b {};
            if (platform::fileIdentity(source.handle, a) && platform::fileIdentity(existing.handle, b)
                && a.volume == b.volume && a.index == b.index)
                return true;
            targetOpened = true;
        }
    }
    if (targetOpened)
        target.removeFile();
    return copyContents(source.handle, target);
}

bool Pathname::makeDirectories(uint32_t mode) const
{
    PathRules rules = PathRules::native();
    if (empty() || rules.isRoot(*this) || kind() == platform::FILE_KIND_DIRECTORY)
        return true;
    Pathname parent = dirname();
    if (!parent.empty() && parent != *this && !parent.makeDirectories(mode))
        return false;
    if (platform::createDirectory(*this, mode))
        return true;
    // Someone else may have made it meanwhile.
    platform::LastOsErrorSaver keep;
    return kind() == platform::FILE_KIND_DIRECTORY;
}

bool Pathname::removeFile() const
{
    return platform::removeFile(*this);
}

Pathname Pathname::child(const std::wstring& name) const
{
    Pathname p = *this;
    wchar_t separator = PathRules::native().separator();
    if (!p.empty() && p.back() != separator)
        p += separator;
    p += name;
    return p;
}

bool Pathname::removeEntry(const Pathname& path, bool isDirectory, bool isLink) const
{
    if (isDirectory)
        return path.removeTree();
    if (isLink) // never followed; a junction goes as a directory
        return platform::removeFile(path) || platform::removeDirectory(path);
    platform::clearReadOnly(path);
    return platform::removeFile(path);
}

bool Pathname::removeTree() const
{
    std::vector<platform::DirEntry> entries;
    if (!platform::listDirectory(*this, entries))
        return false;
    bool ok = true;
    platform::OsErrorCode firstError = 0;
    for (const platform::DirEntry& e : entries) {
        if (!removeEntry(child(e.name), e.isDirectory, e.isLink) && ok) {
            ok = false;
            firstError = platform::lastOsError();
        }
    }
    if (!platform::removeDirectory(*this))
        return false;
    if (!ok)
        platform::setLastOsError(firstError);
    return ok;
}

bool Pathname::removeContents(std::wstring_view filter) const
{
    std::vector<platform::DirEntry> entries;
    if (!platform::listDirectory(*this, entries))
        return false;
    PathRules rules = PathRules::native();
    bool ok = true;
    platform::OsErrorCode firstError = 0;
    for (const platform::DirEntry& e : entries) {
        if (!filter.empty() && !rules.matchesName(filter, e.name))
            continue;
        if (!removeEntry(child(e.name), e.isDirectory, e.isLink) && ok) {
            ok = false;
            firstError = platform::lastOsError();
        }
    }
    if (!ok)
        platform::setLastOsError(firstError);
    return ok;
}

std::FILE* Pathname::openFile(const char* mode) const
{
    return platform::openStdioFile(*this, mode);
}

bool Pathname::freeSpace(uint64_t& bytes) const
{
    PathRules rules = PathRules::native();
    Pathname p = *this;
    if (p.empty() || p.back() != rules.separator())
        p += rules.separator(); // "C:" alone would mean that drive's current directory
    return platform::freeDiskSpace(p, bytes);
}

Pathname Pathname::quoteForCommandLine() const
{
    if (find_first_of(L" \t\r\n") == npos)
        return *this;
    std::wstring out(1, L'"');
    size_t backslashes = 0;
    for (wchar_t c : *this) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        if (c == L'"') {
            out.append(2 * backslashes + 1, L'\\');
        } else {
            out.append(backslashes, L'\\');
        }
        out += c;
        backslashes = 0;
    }
    out.append(2 * backslashes, L'\\');
    out += L'"';
    return out;
}

bool Pathname::nextArgument(std::wstring& word, std::wstring& rest) const
{
    size_t i = 0;
    while (i < size() && isCommandLineBlank((*this)[i]))
        ++i;
    std::wstring out;
    bool quoted = false;
    while (i < size()) {
        wchar_t c = (*this)[i];
        if (!quoted && isCommandLineBlank(c))
            break;
        if (c == L'\\') {
            size_t run = 0;
            while (i < size() && (*this)[i] == L'\\') {
                ++run;
                ++i;
            }
            if (i < size() && (*this)[i] == L'"') {
                out.append(run / 2, L'\\');
                if (run % 2) { // an escaped quote
                    out += L'"';
                    ++i;
                }
            } else {
                out.append(run, L'\\');
            }
        } else if (c == L'"') {
            quoted = !quoted;
            ++i;
        } else {
            out += c;
            ++i;
        }
    }
    if (quoted || out.empty())
        return false;
    word = std::move(out);
    rest = substr(i);
    return true;
}
