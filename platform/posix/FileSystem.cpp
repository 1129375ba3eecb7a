#include "platform/FileSystem.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/TextConv.h"

namespace platform {

struct FileTag {
    int fd;
};

namespace {

std::string narrow(const std::wstring& path)
{
    std::string out;
    appendWideAsUtf8(out, path.data(), path.size());
    return out;
}

FileHandle wrap(int fd)
{
    return fd < 0 ? nullptr : new FileTag{fd};
}

} // namespace

const OsErrorCode FILE_ERROR_CROSS_DEVICE = EXDEV;
const OsErrorCode FILE_ERROR_SHARING_VIOLATION = EBUSY;

const PathConventions& nativePathConventions()
{
    return POSIX_PATH_CONVENTIONS;
}

int fileKind(const std::wstring& path)
{
    struct stat st;
    if (stat(narrow(path).c_str(), &st) != 0)
        return FILE_KIND_NONE;
    if (S_ISDIR(st.st_mode))
        return FILE_KIND_DIRECTORY;
    if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode))
        return FILE_KIND_DEVICE;
    return FILE_KIND_FILE;
}

bool isTransientFileError(OsErrorCode code)
{
    switch (code) {
    case EMFILE:
    case ENFILE:
    case EACCES:
    case ENOMEM:
    case EBUSY:
    case ETXTBSY:
    case ENOLCK:
    case EDEADLK:
    case EIO:
    case EAGAIN:
    case EINTR:
    case ETIMEDOUT:
    case ENETDOWN:
    case ENETUNREACH:
    case ENETRESET:
    case ECONNABORTED:
    case ECONNRESET:
    case EHOSTUNREACH:
    case ESTALE:
        return true;
    default:
        return false;
    }
}

bool renameReplacing(const std::wstring& from, const std::wstring& to)
{
    return ::rename(narrow(from).c_str(), narrow(to).c_str()) == 0;
}

bool createFileExclusive(const std::wstring& path)
{
    int fd = ::open(narrow(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

bool removeFile(const std::wstring& path)
{
    return ::unlink(narrow(path).c_str()) == 0;
}

bool removeDirectory(const std::wstring& path)
{
    return ::rmdir(narrow(path).c_str()) == 0;
}

bool createDirectory(const std::wstring& path, uint32_t mode)
{
    return ::mkdir(narrow(path).c_str(), static_cast<mode_t>(mode)) == 0;
}

bool clearReadOnly(const std::wstring& path)
{
    std::string p = narrow(path);
    struct stat st;
    if (lstat(p.c_str(), &st) != 0)
        return false;
    if (S_ISLNK(st.st_mode) || (st.st_mode & S_IWUSR))
        return true;
    return ::chmod(p.c_str(), (st.st_mode & 07777) | S_IWUSR) == 0;
}

bool listDirectory(const std::wstring& path, std::vector<DirEntry>& out)
{
    std::string dir = narrow(path);
    DIR* d = ::opendir(dir.c_str());
    if (!d)
        return false;
    errno = 0;
    while (struct dirent* e = ::readdir(d)) {
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0)
            continue;
        std::string full = dir + "/" + e->d_name;
        struct stat st;
        DirEntry entry;
        appendUtf8AsWide(entry.name, e->d_name, std::strlen(e->d_name));
        entry.isDirectory = false;
        entry.isLink = false;
        if (lstat(full.c_str(), &st) == 0) {
            entry.isDirectory = S_ISDIR(st.st_mode);
            entry.isLink = S_ISLNK(st.st_mode);
        }
        out.push_back(std::move(entry));
        errno = 0;
    }
    int error = errno;
    ::closedir(d);
    errno = error;
    return error == 0;
}

bool freeDiskSpace(const std::wstring& path, uint64_t& bytes)
{
    struct statvfs st;
    if (::statvfs(narrow(path).c_str(), &st) != 0)
        return false;
    bytes = static_cast<uint64_t>(st.f_bavail) * st.f_frsize;
    return true;
}

FileHandle openFileForReading(const std::wstring& path)
{
    return wrap(::open(narrow(path).c_str(), O_RDONLY | O_CLOEXEC));
}

FileHandle createFileForWriting(const std::wstring& path)
{
    return wrap(::open(narrow(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
}

long readFile(FileHandle file, void* buffer, uint32_t length)
{
    ssize_t n;
    do {
        n = ::read(file->fd, buffer, length);
    } while (n < 0 && errno == EINTR);
    return static_cast<long>(n);
}

bool writeFile(FileHandle file, const void* data, uint32_t length)
{
    const char* p = static_cast<const char*>(data);
    while (length > 0) {
        ssize_t n = ::write(file->fd, p, length);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        p += n;
        length -= static_cast<uint32_t>(n);
    }
    return true;
}

bool fileIdentity(FileHandle file, FileIdentity& out)
{
    struct stat st;
    if (::fstat(file->fd, &st) != 0)
        return false;
    out.volume = static_cast<uint64_t>(st.st_dev);
    out.index = static_cast<uint64_t>(st.st_ino);
    return true;
}

bool closeFile(FileHandle file)
{
    int rc = ::close(file->fd);
    delete file;
    return rc == 0;
}

std::FILE* openStdioFile(const std::wstring& path, const char* mode)
{
    return std::fopen(narrow(path).c_str(), mode);
}

} // namespace platform
