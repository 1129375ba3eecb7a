#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/OsError.h"

// Files that log lines are appended to. Opened so that readers may share them
// and the file may be renamed or deleted while open (rolling). Every call that
// fails leaves the reason in lastOsError().
namespace platform {

using AppendFile = std::intptr_t;
inline constexpr AppendFile INVALID_APPEND_FILE = -1;

// Creates the file if missing; INVALID_APPEND_FILE on failure.
AppendFile openAppendFile(const std::wstring& path);
// The process's standard error; closing it does nothing.
AppendFile errorStreamAppendFile();
// One write of all the bytes at the end of the file.
bool appendToFile(AppendFile file, const char* data, std::size_t length);
bool appendFileSize(AppendFile file, std::int64_t& size);
void closeAppendFile(AppendFile file);

// The file or a directory on its path doesn't exist.
bool isNotFoundError(OsErrorCode code);

}  // namespace platform
