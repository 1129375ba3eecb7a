#pragma once

#include <string>

#include "pdh/PdhApi.h"

// The statuses that PDH itself defines, and whose text comes from PDH's own messages.
bool isPdhOwnStatus(DWORD status);

enum class PdhMessageResult {
    Ok,
    NoModule,   // PDH's message module couldn't be had
    NoMessage,  // it has no text for the status
};

// PDH's text for one of its own statuses, with insert in place of "%1", as
// PDH's message module formats it (trailing line break included). On failure
// the last OS error tells why.
PdhMessageResult pdhStatusMessage(DWORD status, const std::wstring& insert, std::wstring& text);
