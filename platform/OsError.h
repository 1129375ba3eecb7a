#pragma once

#include <cstdint>
#include <string>

// The calling thread's last OS error: GetLastError on Windows, errno elsewhere.
namespace platform {

using OsErrorCode = std::uint32_t;

OsErrorCode lastOsError() noexcept;
void setLastOsError(OsErrorCode code) noexcept;

// Puts the system's own text for code, in UTF-8 and without trailing line
// breaks, into out. Answers false, with out unchanged, when the system has no
// text for the code, so that callers can apply their own fallback.
bool osErrorText(OsErrorCode code, std::string& out);

// Keeps the last OS error across a scope (a log call must not disturb it).
class LastOsErrorSaver {
public:
    LastOsErrorSaver() noexcept : saved(lastOsError()) {}
    ~LastOsErrorSaver() { setLastOsError(saved); }
    LastOsErrorSaver(const LastOsErrorSaver&) = delete;
    LastOsErrorSaver& operator=(const LastOsErrorSaver&) = delete;

    OsErrorCode code() const noexcept { return saved; }

private:
    OsErrorCode saved;
};

}  // namespace platform
