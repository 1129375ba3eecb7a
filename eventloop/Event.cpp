#include "eventloop/Event.h"

#include "eventloop/ThreadException.h"
#include "platform/OsError.h"

Event::Event() : handle(platform::createEvent())
{
    if (!handle) throwThreadFailure("CreateEvent");
}

Event::~Event()
{
    if (handle && !platform::closeEvent(handle)) {
        try {
            throwThreadFailure("CloseHandle");
        } catch (const ThreadException&) {
            // Already logged; a destructor can't pass it on.
        }
    }
}

void Event::signal()
{
    if (!platform::setEvent(handle)) throwThreadFailure("SetEvent");
}

void Event::wait(Mutex& mutex)
{
    releaseAndWait(handle, mutex, platform::WAIT_FOREVER);
}

bool Event::wait(Mutex& mutex, std::uint32_t timeoutMs)
{
    return releaseAndWait(handle, mutex, timeoutMs);
}

bool Event::releaseAndWait(platform::EventHandle event, Mutex& mutex, std::uint32_t timeoutMs)
{
    std::uint32_t result = platform::unlockAndWait(mutex.nativeHandle(), event, timeoutMs);
    platform::OsErrorCode error = platform::lastOsError();
    // Retaken whatever happened, so that the caller's scoped lock stays balanced.
    mutex.lock();
    platform::setLastOsError(error);
    return checkWaitResult(timeoutMs != platform::WAIT_FOREVER, result, "SignalObjectAndWait");
}
