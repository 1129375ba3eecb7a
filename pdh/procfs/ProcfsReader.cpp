#include "pdh/procfs/ProcfsReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
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

bool isDots(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
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
        if (isDots(e->d_name)) {
            continue;
        }
        f(e->d_name);
    }
    ::closedir(dir);
    return true;
}

bool startsWith(std::string_view s, std::string_view prefix)
{
    return s.substr(0, prefix.size()) == prefix;
}

bool isFileSystem(const std::string& path, unsigned long magic)
{
    struct statfs s;
    return ::statfs(path.empty() ? "/" : path.c_str(), &s) == 0 && static_cast<unsigned long>(s.f_type) == magic;
}

// Files held by every reader of the process, against one budget.
std::atomic<std::size_t> heldInProcess{0};

// How many files the readers may hold: half the process's limit of open
// files, after raising its soft limit toward the hard one. Raising it is safe:
// this program waits on descriptors with poll, never select.
std::size_t fileBudget()
{
    static const std::size_t budget = [] {
        constexpr rlim_t wanted = 16384;
        rlimit limit{};
        if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
            return std::size_t(0);
        }
        if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < wanted) {
            rlimit raised = limit;
            raised.rlim_cur = limit.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, limit.rlim_max);
            if (raised.rlim_cur > limit.rlim_cur && ::setrlimit(RLIMIT_NOFILE, &raised) == 0) {
                limit = raised;
            }
        }
        const rlim_t soft = limit.rlim_cur == RLIM_INFINITY ? wanted : std::min(limit.rlim_cur, wanted);
        return static_cast<std::size_t>(soft / 2);
    }();
    return budget;
}

}  // namespace

ProcfsReader::ProcfsReader(const std::string& root) : root(root), buffer(4096)
{
    while (!this->root.empty() && this->root.back() == '/') {
        this->root.pop_back();
    }
    holdProc = isFileSystem(pathOf("/proc"), PROC_SUPER_MAGIC);
    holdSys = isFileSystem(pathOf("/sys"), SYSFS_MAGIC);
    if (holdProc || holdSys) {
        budget = fileBudget();
    }
    if (holdProc) {
        // Since Linux 6.2 the size of a process's fd directory is its count of
        // open files; before, it is 0, though this one has at least itself open.
        const int fd = ::open(pathOf("/proc/self/fd").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        struct stat st;
        sizeCountsFds = fd >= 0 && ::fstat(fd, &st) == 0 && st.st_size > 0;
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

ProcfsReader::~ProcfsReader()
{
    release();
}

void ProcfsReader::release()
{
    for (auto& [name, fd] : systemFiles) {
        closeHeld(fd);
    }
    systemFiles.clear();
    for (auto& [pid, files] : pidFiles) {
        closePid(files);
    }
    pidFiles.clear();
    closeHeld(procDirectory);
}

bool ProcfsReader::mayHold() const
{
    return heldInProcess.load(std::memory_order_relaxed) < budget;
}

void ProcfsReader::noteHeld()
{
    ++held;
    heldInProcess.fetch_add(1, std::memory_order_relaxed);
}

void ProcfsReader::closeHeld(int& fd)
{
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
        --held;
        heldInProcess.fetch_sub(1, std::memory_order_relaxed);
    }
}

void ProcfsReader::closeHeld(DIR*& dir)
{
    if (dir != nullptr) {
        ::closedir(dir);
        dir = nullptr;
        --held;
        heldInProcess.fetch_sub(1, std::memory_order_relaxed);
    }
}

void ProcfsReader::closePid(PidFiles& files)
{
    for (int& fd : files.files) {
        closeHeld(fd);
    }
    closeHeld(files.fdDirectory);
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
    const std::string& full = pathOf(p);
    if (!(holdProc && startsWith(p, "/proc/")) && !(holdSys && startsWith(p, "/sys/"))) {
        return readFile(full, text);
    }
    auto it = systemFiles.find(p);
    if (it == systemFiles.end()) {
        it = systemFiles.emplace(std::string(p), -1).first;
    }
    return readHeld(it->second, full, text);
}

bool ProcfsReader::readPid(int pid, std::string_view file, std::string_view& text)
{
    const std::string& full = pathOf(pid, file);
    const int slot = file == "stat" ? 0 : file == "status" ? 1 : file == "io" ? 2 : file == "comm" ? 3 : -1;
    if (!holdProc || slot < 0) {
        return readFile(full, text);
    }
    return readHeld(pidFiles[pid].files[slot], full, text);
}

bool ProcfsReader::readOpen(int fd, std::string_view& text)
{
    std::size_t used = 0;
    for (;;) {
        if (used == buffer.size()) {
            buffer.resize(buffer.size() * 2);
        }
        const ssize_t n = ::pread(fd, buffer.data() + used, buffer.size() - used, static_cast<off_t>(used));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return false;
        }
        if (n == 0) {
            break;
        }
        used += static_cast<std::size_t>(n);
    }
    text = std::string_view(buffer.data(), used);
    return true;
}

bool ProcfsReader::readFile(const std::string& full, std::string_view& text)
{
    const int fd = ::open(full.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool ok = readOpen(fd, text);
    ::close(fd);
    return ok;
}

bool ProcfsReader::readHeld(int& fd, const std::string& full, std::string_view& text)
{
    if (fd >= 0) {
        if (readOpen(fd, text)) {
            keepIfFilled(fd, text);
            return true;
        }
        // Gone, or its number now belongs to another process: the path says which.
        closeHeld(fd);
    }
    if (!mayHold()) {
        return readFile(full, text);
    }
    fd = ::open(full.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    noteHeld();
    if (!readOpen(fd, text)) {
        closeHeld(fd);
        return false;
    }
    keepIfFilled(fd, text);
    return true;
}

void ProcfsReader::keepIfFilled(int& fd, std::string_view text)
{
    // A kernel text file read to an empty end doesn't start over on the next
    // read from 0, so an empty one is opened afresh each time.
    if (text.empty()) {
        closeHeld(fd);
    }
}

bool ProcfsReader::listPids(std::vector<int>& pids)
{
    pids.clear();
    const auto add = [&](const char* name) {
        if (isNumber(name)) {
            int pid = 0;
            std::from_chars(name, name + std::char_traits<char>::length(name), pid);
            pids.push_back(pid);
        }
    };
    bool ok = false;
    if (!holdProc) {
        ok = eachEntry(pathOf("/proc"), add);
    } else {
        if (procDirectory == nullptr) {
            procDirectory = ::opendir(pathOf("/proc").c_str());
            if (procDirectory != nullptr) {
                noteHeld();
            }
        } else {
            ::rewinddir(procDirectory);
        }
        ok = procDirectory != nullptr;
        while (ok) {
            errno = 0;
            const dirent* e = ::readdir(procDirectory);
            if (e == nullptr) {
                ok = errno == 0;
                break;
            }
            add(e->d_name);
        }
    }
    std::sort(pids.begin(), pids.end());
    if (ok) {
        for (auto it = pidFiles.begin(); it != pidFiles.end();) {
            if (std::binary_search(pids.begin(), pids.end(), it->first)) {
                ++it;
            } else {
                closePid(it->second);
                it = pidFiles.erase(it);
            }
        }
    }
    return ok;
}

bool ProcfsReader::listDirectory(std::string_view p, std::vector<std::string>& names)
{
    names.clear();
    return eachEntry(pathOf(p), [&](const char* name) { names.emplace_back(name); });
}

long ProcfsReader::countEntries(DIR* dir)
{
    if (sizeCountsFds) {
        struct stat st;
        return ::fstat(::dirfd(dir), &st) == 0 ? static_cast<long>(st.st_size) : -1;
    }
    ::rewinddir(dir);
    long n = 0;
    for (;;) {
        errno = 0;
        const dirent* e = ::readdir(dir);
        if (e == nullptr) {
            return errno == 0 ? n : -1;
        }
        n += isDots(e->d_name) ? 0 : 1;
    }
}

long ProcfsReader::countOpenFiles(int pid)
{
    const std::string& full = pathOf(pid, "fd");
    long n = 0;
    const auto count = [&](const char*) { ++n; };
    if (!holdProc) {
        return eachEntry(full, count) ? n : -1;
    }
    DIR*& dir = pidFiles[pid].fdDirectory;
    if (dir != nullptr) {
        n = countEntries(dir);
        if (n >= 0) {
            return n;
        }
        closeHeld(dir);
    }
    if (!mayHold()) {
        n = 0;
        return eachEntry(full, count) ? n : -1;
    }
    dir = ::opendir(full.c_str());
    if (dir == nullptr) {
        return -1;
    }
    noteHeld();
    n = countEntries(dir);
    if (n < 0) {
        closeHeld(dir);
    }
    return n;
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
