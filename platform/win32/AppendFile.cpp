#include "platform/AppendFile.h"

#include <windows.h>

namespace platform {

namespace {

HANDLE toHandle(AppendFile file)
{
    return reinterpret_cast<HANDLE>(file);
}

}  // namespace

AppendFile openAppendFile(const std::wstring& path)
{
    // Appending access makes every write go to the end, as O_APPEND does;
    // sharing delete lets the file be rolled by rename while open elsewhere.
    HANDLE h = CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    return h == INVALID_HANDLE_VALUE ? INVALID_APPEND_FILE : reinterpret_cast<AppendFile>(h);
}

AppendFile errorStreamAppendFile()
{
    HANDLE h = GetStdHandle(STD_ERROR_HANDLE);
    return h == nullptr || h == INVALID_HANDLE_VALUE ? INVALID_APPEND_FILE : reinterpret_cast<AppendFile>(h);
}

bool appendToFile(AppendFile file, const char* data, std::size_t length)
{
    while (length > 0) {
        DWORD chunk = length > 0x40000000 ? 0x40000000 : static_cast<DWORD>(length);
        DWORD written = 0;
        if (!WriteFile(toHandle(file), data, chunk, &written, nullptr))
            return false;
        data += written;
        length -= written;
    }
    return true;
}

bool appendFileSize(AppendFile file, std::int64_t& size)
{
    LARGE_INTEGER li;
    if (!GetFileSizeEx(toHandle(file), &li))
        return false;
    size = li.QuadPart;
    return true;
}

void closeAppendFile(AppendFile file)
{
    if (file != INVALID_APPEND_FILE && toHandle(file) != GetStdHandle(STD_ERROR_HANDLE))
        CloseHandle(toHandle(file));
}

bool isNotFoundError(OsErrorCode code)
{
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

}  // namespace platform
