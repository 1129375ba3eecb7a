#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/OsError.h"

// Files and directories by wide path. Every call that fails leaves the reason
// in lastOsError().
namespace platform {

// How paths are spelt. The rules that use these are portable code, so both
// sets can be exercised anywhere.
struct PathConventions {
    wchar_t separator;         // written when joining
    wchar_t altSeparator;      // also read as a separator by some rules; 0 if none
    bool driveLetters;         // "C:" prefixes
    bool networkPrefix;        // a leading doubled separator names a server
    bool caseInsensitiveNames;
};

inline constexpr PathConventions WINDOWS_PATH_CONVENTIONS{L'\\', L'/', true, true, true};
inline constexpr PathConventions POSIX_PATH_CONVENTIONS{L'/', L'\0', false, false, false};

const PathConventions& nativePathConventions();

// What is at a path: 0 nothing (or unknown), 1 a file, 2 a directory, 3 a device.
inline constexpr int FILE_KIND_NONE = 0;
inline constexpr int FILE_KIND_FILE = 1;
inline constexpr int FILE_KIND_DIRECTORY = 2;
inline constexpr int FILE_KIND_DEVICE = 3;
int fileKind(const std::wstring& path);

// Error codes the portable file code acts on.
extern const OsErrorCode FILE_ERROR_CROSS_DEVICE;      // a rename between volumes
extern const OsErrorCode FILE_ERROR_SHARING_VIOLATION; // someone else holds the file
// Errors after which the same operation may well succeed a moment later:
// sharing and lock conflicts, access denied, memory, device and network trouble.
bool isTransientFileError(OsErrorCode code);

// Replaces an existing target.
bool renameReplacing(const std::wstring& from, const std::wstring& to);
// Creates a new, empty file and closes it; fails if anything is there.
bool createFileExclusive(const std::wstring& path);
bool removeFile(const std::wstring& path);
bool removeDirectory(const std::wstring& path);
// mode applies where the system has permission bits.
bool createDirectory(const std::wstring& path, uint32_t mode);
// Makes a read-only file deletable and writable.
bool clearReadOnly(const std::wstring& path);

struct DirEntry {
    std::wstring name;
    bool isDirectory;    // a real directory, to be entered
    bool isLink;         // a link or junction: removed itself, never followed
};
// The entries of a directory but "." and "..".
bool listDirectory(const std::wstring& path, std::vector<DirEntry>& out);

// Bytes free to the caller on the volume of path (a directory).
bool freeDiskSpace(const std::wstring& path, uint64_t& bytes);

// Open files for copying.
struct FileTag;
using FileHandle = FileTag*;

struct FileIdentity {
    uint64_t volume;
    uint64_t index;
};

// For reading, sharing reading, writing and deleting with others. Null on failure.
FileHandle openFileForReading(const std::wstring& path);
// Created or truncated, for writing. Null on failure.
FileHandle createFileForWriting(const std::wstring& path);
// Bytes read, 0 at the end, -1 on failure.
long readFile(FileHandle file, void* buffer, uint32_t length);
// Writes all of it.
bool writeFile(FileHandle file, const void* data, uint32_t length);
bool fileIdentity(FileHandle file, FileIdentity& out);
bool closeFile(FileHandle file);

// A stdio stream on a wide path; mode as fopen takes it. Null on failure.
std::FILE* openStdioFile(const std::wstring& path, const char* mode);

} // namespace platform
