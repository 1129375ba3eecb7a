#include "platform/AppendFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/TextConv.h"

namespace platform {

AppendFile openAppendFile(const std::wstring& path)
{
    std::string name;
    if (!appendWideAsUtf8(name, path.data(), path.size())) {
        errno = EINVAL;
        return INVALID_APPEND_FILE;
    }
    int fd;
    do {
        fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    } while (fd < 0 && errno == EINTR);
    return fd < 0 ? INVALID_APPEND_FILE : static_cast<AppendFile>(fd);
}

AppendFile errorStreamAppendFile()
{
    return STDERR_FILENO;
}

bool appendToFile(AppendFile file, const char* data, std::size_t length)
{
    // O_APPEND makes each write land whole at the end; a short write is
    // finished by more writes.
    while (length > 0) {
        ssize_t n = ::write(static_cast<int>(file), data, length);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        length -= static_cast<std::size_t>(n);
    }
    return true;
}

bool appendFileSize(AppendFile file, std::int64_t& size)
{
    struct stat st {};
    if (::fstat(static_cast<int>(file), &st) != 0)
        return false;
    size = static_cast<std::int64_t>(st.st_size);
    return true;
}

void closeAppendFile(AppendFile file)
{
    if (file != INVALID_APPEND_FILE && file != STDERR_FILENO)
        ::close(static_cast<int>(file));
}

bool isNotFoundError(OsErrorCode code)
{
    return code == ENOENT || code == ENOTDIR;
}

}  // namespace platform
