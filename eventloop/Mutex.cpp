#include "eventloop/Mutex.h"

#include "eventloop/ThreadException.h"

Mutex::Mutex() : handle(platform::createMutex())
{
    if (!handle) throwThreadFailure("CreateMutex");
}

Mutex::~Mutex()
{
    if (handle && !platform::closeMutex(handle)) {
        try {
            throwThreadFailure("CloseHandle");
        } catch (const ThreadException&) {
            // Already logged; a destructor can't pass it on.
        }
    }
}

void Mutex::lock()
{
    checkWaitResult(false, platform::lockMutex(handle, platform::WAIT_FOREVER), "WaitForSingleObject");
}

bool Mutex::tryLock()
{
    return checkWaitResult(true, platform::lockMutex(handle, 0), "WaitForSingleObject");
}

void Mutex::unlock()
{
    if (!platform::unlockMutex(handle)) throwThreadFailure("ReleaseMutex");
}
