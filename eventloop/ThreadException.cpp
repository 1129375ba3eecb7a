#include "eventloop/ThreadException.h"

#include "eventloop/Thread.h"
#include "foundation/Str.h"
#include "logging/Logger.h"
#include "platform/OsError.h"

#include <atomic>

namespace {

Logger threadLog("Thread", false, 60, 100);

std::atomic<bool> threadChecksEnabled{true};

}  // namespace

void disableThreadChecks()
{
    threadChecksEnabled.store(false, std::memory_order_relaxed);
}

bool threadChecksAreEnabled()
{
    return threadChecksEnabled.load(std::memory_order_relaxed);
}

void throwThreadException(const std::string& message)
{
    logWarn(threadLog, Str(message));
    throw ThreadException(message);
}

void throwThreadFailure(const char* callName)
{
    if (!threadChecksAreEnabled()) return;
    platform::OsErrorCode error = platform::lastOsError();
    Str message;
    message.format("%s: about to throw a ThreadException: %s: ", currentThreadName(), callName);
    Str errorText;
    errorString(errorText, error);
    message += errorText;
    message.appendFormat("; %u threads active", threadCount());
    throwThreadException(message);
}

bool checkWaitResult(bool allowTimeout, std::uint32_t result, const char* callName)
{
    if (!threadChecksAreEnabled()) return true;
    if (result == platform::WAIT_SIGNALLED) return true;
    if (result == platform::WAIT_TIMED_OUT) {
        if (allowTimeout) return false;
        throwThreadException(Str::formatted("%s: unexpected timeout from %s", currentThreadName(), callName));
    }
    if (result == platform::WAIT_CALL_FAILED) {
        throwThreadFailure(callName);
        return true;
    }
    throwThreadException(Str::formatted("%s: unexpected return value 0x%lX from %s", currentThreadName(),
                                        static_cast<unsigned long>(result), callName));
}
