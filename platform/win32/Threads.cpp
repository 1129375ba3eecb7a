#include "platform/Threads.h"

#include <cstdlib>
#include <new>

#include <windows.h>
#include <process.h>

namespace platform {

namespace {

HANDLE native(void* handle)
{
    return static_cast<HANDLE>(handle);
}

// _beginthreadex wants a __stdcall entry; the interface keeps the plain one.
struct StartRecord {
    ThreadEntry entry;
    void* arg;
};

unsigned __stdcall startThread(void* p)
{
    StartRecord record = *static_cast<StartRecord*>(p);
    delete static_cast<StartRecord*>(p);
    return record.entry(record.arg);
}

constexpr DWORD THREAD_NAME_EXCEPTION = 0x406D1388;

// The record a debugger reads from the thread-naming exception.
#pragma pack(push, 8)
struct ThreadNameRecord {
    DWORD type;
    LPCSTR name;
    DWORD threadId;
    DWORD flags;
};
#pragma pack(pop)

LONG CALLBACK swallowThreadName(EXCEPTION_POINTERS* info)
{
    return info->ExceptionRecord->ExceptionCode == THREAD_NAME_EXCEPTION ? EXCEPTION_CONTINUE_EXECUTION
                                                                         : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

ThreadHandle createThread(std::uint32_t stackSize, ThreadEntry entry, void* arg, std::uint32_t* id)
{
    StartRecord* record = new (std::nothrow) StartRecord{entry, arg};
    if (!record) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    unsigned threadId = 0;
    std::uintptr_t h = _beginthreadex(nullptr, stackSize, startThread, record, 0, &threadId);
    if (h == 0) {
        // The run time may fail before any OS call; it leaves its reason in _doserrno.
        DWORD error = GetLastError();
        if (error == ERROR_SUCCESS) error = static_cast<DWORD>(_doserrno);
        delete record;
        SetLastError(error);
        return nullptr;
    }
    if (id) *id = threadId;
    return reinterpret_cast<ThreadHandle>(h);
}

std::uint32_t waitForThread(ThreadHandle thread, std::uint32_t timeoutMs)
{
    return WaitForSingleObject(native(thread), timeoutMs);
}

bool closeThreadHandle(ThreadHandle thread)
{
    return CloseHandle(native(thread)) != 0;
}

std::uint32_t currentThreadId()
{
    return GetCurrentThreadId();
}

void nameCurrentThread(const char* name)
{
    // Only a debugger reads the name.
    if (!IsDebuggerPresent()) return;
    DWORD savedError = GetLastError();
    ThreadNameRecord record{0x1000, name, GetCurrentThreadId(), 0};
    PVOID handler = AddVectoredExceptionHandler(1, swallowThreadName);
    RaiseException(THREAD_NAME_EXCEPTION, 0, sizeof record / sizeof(ULONG_PTR),
                   reinterpret_cast<const ULONG_PTR*>(&record));
    if (handler) RemoveVectoredExceptionHandler(handler);
    SetLastError(savedError);
}

MutexHandle createMutex()
{
    return reinterpret_cast<MutexHandle>(CreateMutexW(nullptr, FALSE, nullptr));
}

std::uint32_t lockMutex(MutexHandle mutex, std::uint32_t timeoutMs)
{
    return WaitForSingleObject(native(mutex), timeoutMs);
}

bool unlockMutex(MutexHandle mutex)
{
    return ReleaseMutex(native(mutex)) != 0;
}

bool closeMutex(MutexHandle mutex)
{
    return CloseHandle(native(mutex)) != 0;
}

EventHandle createEvent()
{
    return reinterpret_cast<EventHandle>(CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

bool setEvent(EventHandle event)
{
    return SetEvent(native(event)) != 0;
}

std::uint32_t waitForEvent(EventHandle event, std::uint32_t timeoutMs)
{
    return WaitForSingleObject(native(event), timeoutMs);
}

std::uint32_t unlockAndWait(MutexHandle mutex, EventHandle event, std::uint32_t timeoutMs)
{
    return SignalObjectAndWait(native(mutex), native(event), timeoutMs, FALSE);
}

bool closeEvent(EventHandle event)
{
    return CloseHandle(native(event)) != 0;
}

bool tlsAlloc(TlsIndex* index)
{
    DWORD i = TlsAlloc();
    if (i == TLS_OUT_OF_INDEXES) return false;
    *index = i;
    return true;
}

bool tlsGet(TlsIndex index, void** value)
{
    *value = TlsGetValue(index);
    // Null is a value too; only a set error says the call failed.
    return *value != nullptr || GetLastError() == ERROR_SUCCESS;
}

bool tlsSet(TlsIndex index, void* value)
{
    return TlsSetValue(index, value) != 0;
}

bool tlsFree(TlsIndex index)
{
    return TlsFree(index) != 0;
}

}  // namespace platform
