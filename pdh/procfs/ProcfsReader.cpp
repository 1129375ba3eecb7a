#include "pdh/procfs/ProcfsReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace {

bool isNumber(const char* name)
{
    if (*name == '\0') {
        return false;
    }
    for (; *name != '\0'; ++name) {
        if (*name < '0' || *name > '9') {
            return false;
        }
    }
    return true;
}

// Calls f with each entry name of an open directory, closing it after.
template <typename F>
bool eachEntry(const std::string& path, F f)
{
    DIR* dir = ::opendir(path.c_str());
    if (dir == nullptr) {
        return false;
    }
    while (const dirent* e = ::readdir(dir)) {
        if (e->d_name[0] == '.' && (e->d_name[1] == '\0' || (e->d_name[1] == '.' && e->d_name[2] == '\0'))) {
            continue;
        }
        f(e->d_name);
    }
    ::closedir(dir);
    return true;
}

}  // namespace

ProcfsReader::ProcfsReader(const std::string& root) : root(root), buffer(4096)
{
    while (!this->root.empty() && this->root.back() == '/') {
        this->root.pop_back();
    }
}

const std::string& ProcfsReader::pathOf(std::string_view p)
{
    path.assign(root);
    path.append(p);
    return path;
}

const std::string& ProcfsReader::pathOf(int pid, std::string_view file)
{
    char digits[16];
    const auto r = std::to_chars(digits, digits + sizeof digits, pid);
    path.assign(root);
    path.append("/proc/");
    path.append(digits, r.ptr);
    path.push_back('/');
    path.append(file);
    return path;
}

bool ProcfsReader::read(std::string_view p, std::string_view& text)
{
    return readFile(pathOf(p), text);
}

bool ProcfsReader::readPid(int pid, std::string_view file, std::string_view& text)
{
    return readFile(pathOf(pid, file), text);
}

bool ProcfsReader::readFile(const std::string& full, std::string_view& text)
{
    const int fd = ::open(full.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    std::size_t used = 0;
    for (;;) {
        if (used == buffer.size()) {
            buffer.resize(buffer.size() * 2);
        }
        const ssize_t n = ::read(fd, buffer.data() + used, buffer.size() - used);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            ::close(fd);
            return false;
        }
        if (n == 0) {
            break;
        }
        used += static_cast<std::size_t>(n);
    }
    ::close(fd);
    text = std::string_view(buffer.data(), used);
    return true;
}

bool ProcfsReader::listPids(std::vector<int>& pids)
{
    pids.clear();
    const bool ok = eachEntry(pathOf("/proc"), [&](const char* name) {
        if (isNumber(name)) {
            int pid = 0;
            std::from_chars(name, name + std::char_traits<char>::length(name), pid);
            pids.push_back(pid);
        }
    });
    std::sort(pids.begin(), pids.end());
    return ok;
}

bool ProcfsReader::listDirectory(std::string_view p, std::vector<std::string>& names)
{
    names.clear();
    return eachEntry(pathOf(p), [&](const char* name) { names.emplace_back(name); });
}

long ProcfsReader::countOpenFiles(int pid)
{
    long n = 0;
    return eachEntry(pathOf(pid, "fd"), [&](const char*) { ++n; }) ? n : -1;
}

bool ProcfsReader::fileSystemSpace(std::string_view mountPoint, std::uint64_t& size, std::uint64_t& available)
{
    struct statvfs s;
    const std::string& full = pathOf(mountPoint);
    if (::statvfs(full.empty() ? "/" : full.c_str(), &s) != 0) {
        return false;
    }
    size = static_cast<std::uint64_t>(s.f_blocks) * s.f_frsize;
    available = static_cast<std::uint64_t>(s.f_bavail) * s.f_frsize;
    return true;
}

void ProcfsScanner::skipBlanks()
{
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
        ++pos;
    }
}

void ProcfsScanner::nextLine()
{
    const std::size_t nl = text.find('\n', pos);
    pos = nl == std::string_view::npos ? text.size() : nl + 1;
}

std::string_view ProcfsScanner::word()
{
    skipBlanks();
    const std::size_t start = pos;
    while (pos < text.size() && text[pos] != ' ' && text[pos] != '\t' && text[pos] != '\n') {
        ++pos;
    }
    return text.substr(start, pos - start);
}

bool ProcfsScanner::number(std::uint64_t& out)
{
    skipBlanks();
    out = 0;
    const auto r = std::from_chars(text.data() + pos, text.data() + text.size(), out);
    if (r.ec != std::errc()) {
        out = 0;
        return false;
    }
    pos = static_cast<std::size_t>(r.ptr - text.data());
    return true;
}

bool ProcfsScanner::decimal(double& out)
{
    skipBlanks();
    std::uint64_t whole = 0;
    if (!number(whole)) {
        return false;
    }
    out = static_cast<double>(whole);
    if (pos < text.size() && text[pos] == '.') {
        double scale = 0.1;
        for (++pos; pos < text.size() && text[pos] >= '0' && text[pos] <= '9'; ++pos, scale /= 10) {
            out += (text[pos] - '0') * scale;
        }
    }
    return true;
}

void ProcfsScanner::skipWords(int n)
{
    for (int i = 0; i < n; ++i) {
        word();
    }
}

bool procfsField(std::string_view text, std::string_view key, std::uint64_t& out)
{
    std::size_t at = 0;
    for (;;) {
        at = text.find(key, at);
        if (at == std::string_view::npos) {
            out = 0;
            return false;
        }
        const std::size_t after = at + key.size();
        if ((at == 0 || text[at - 1] == '\n') && after < text.size() && text[after] == ':') {
            ProcfsScanner s(text.substr(after + 1));
            return s.number(out);
        }
        at = after;
    }
}
