#include "platform/FileSystem.h"

#include <windows.h>

namespace platform {

struct FileTag {
    HANDLE handle;
};

namespace {

FileHandle wrap(HANDLE h)
{
    return h == INVALID_HANDLE_VALUE ? nullptr : new FileTag{h};
}

} // namespace

const OsErrorCode FILE_ERROR_CROSS_DEVICE = ERROR_NOT_SAME_DEVICE;
const OsErrorCode FILE_ERROR_SHARING_VIOLATION = ERROR_SHARING_VIOLATION;

const PathConventions& nativePathConventions()
{
    return WINDOWS_PATH_CONVENTIONS;
}

int fileKind(const std::wstring& path)
{
    DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return FILE_KIND_NONE;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return FILE_KIND_DIRECTORY;
    if (attributes & FILE_ATTRIBUTE_DEVICE)
        return FILE_KIND_DEVICE;
    return FILE_KIND_FILE;
}

bool isTransientFileError(OsErrorCode code)
{
    switch (code) {
    case ERROR_TOO_MANY_OPEN_FILES:      // 4
    case ERROR_ACCESS_DENIED:            // 5
    case ERROR_NOT_ENOUGH_MEMORY:        // 8
    case ERROR_OUTOFMEMORY:              // 14
    case ERROR_NOT_READY:                // 21
    case ERROR_WRITE_FAULT:              // 29
    case ERROR_READ_FAULT:               // 30
    case ERROR_GEN_FAILURE:              // 31
    case ERROR_SHARING_VIOLATION:        // 32
    case ERROR_LOCK_VIOLATION:           // 33
    case ERROR_NETWORK_BUSY:             // 54
    case ERROR_ADAP_HDW_ERR:             // 57
    case ERROR_BAD_NET_RESP:             // 58
    case ERROR_UNEXP_NET_ERR:            // 59
    case ERROR_BAD_REM_ADAP:             // 60
    case ERROR_SHARING_PAUSED:           // 70
    case ERROR_REQ_NOT_ACCEP:            // 71
    case ERROR_OUT_OF_STRUCTURES:        // 84
    case ERROR_NET_WRITE_FAULT:          // 88
    case ERROR_NO_PROC_SLOTS:            // 89
    case ERROR_NO_MORE_SEARCH_HANDLES:   // 113
        return true;
    default:
        return false;
    }
}

bool renameReplacing(const std::wstring& from, const std::wstring& to)
{
    return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

bool createFileExclusive(const std::wstring& path)
{
    HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(h);
    return true;
}

bool removeFile(const std::wstring& path)
{
    return DeleteFileW(path.c_str()) != 0;
}

bool removeDirectory(const std::wstring& path)
{
    return RemoveDirectoryW(path.c_str()) != 0;
}

bool createDirectory(const std::wstring& path, uint32_t)
{
    return CreateDirectoryW(path.c_str(), nullptr) != 0;
}

bool clearReadOnly(const std::wstring& path)
{
    DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    if (!(attributes & FILE_ATTRIBUTE_READONLY))
        return true;
    return SetFileAttributesW(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) != 0;
}

bool listDirectory(const std::wstring& path, std::vector<DirEntry>& out)
{
    std::wstring pattern = path;
    if (!pattern.empty() && pattern.back() != L'\\' && pattern.back() != L'/')
        pattern += L'\\';
    pattern += L'*';
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW(pattern.c_str(), &data);
    if (find == INVALID_HANDLE_VALUE)
        return false;
    do {
        std::wstring name = data.cFileName;
        if (name == L"." || name == L"..")
            continue;
        bool link = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        bool directory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        out.push_back(DirEntry{std::move(name), directory && !link, link});
    } while (FindNextFileW(find, &data));
    DWORD error = GetLastError();
    FindClose(find);
    SetLastError(error);
    return error == ERROR_NO_MORE_FILES;
}

bool freeDiskSpace(const std::wstring& path, uint64_t& bytes)
{
    ULARGE_INTEGER available;
    if (!GetDiskFreeSpaceExW(path.c_str(), &available, nullptr, nullptr))
        return false;
    bytes = available.QuadPart;
    return true;
}

FileHandle openFileForReading(const std::wstring& path)
{
    return wrap(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

FileHandle createFileForWriting(const std::wstring& path)
{
    return wrap(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

long readFile(FileHandle file, void* buffer, uint32_t length)
{
    DWORD n = 0;
    if (!ReadFile(file->handle, buffer, length, &n, nullptr))
        return -1;
    return static_cast<long>(n);
}

bool writeFile(FileHandle file, const void* data, uint32_t length)
{
    const char* p = static_cast<const char*>(data);
    while (length > 0) {
        DWORD n = 0;
        if (!WriteFile(file->handle, p, length, &n, nullptr))
            return false;
        p += n;
        length -= n;
    }
    return true;
}

bool fileIdentity(FileHandle file, FileIdentity& out)
{
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(file->handle, &info))
        return false;
    out.volume = info.dwVolumeSerialNumber;
    out.index = (static_cast<uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
    return true;
}

bool closeFile(FileHandle file)
{
    BOOL ok = CloseHandle(file->handle);
    delete file;
    return ok != 0;
}

std::FILE* openStdioFile(const std::wstring& path, const char* mode)
{
    std::wstring wideMode(mode, mode + std::char_traits<char>::length(mode));
    return _wfopen(path.c_str(), wideMode.c_str());
}

} // namespace platform
