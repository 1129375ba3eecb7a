#pragma once

// OS threads and the waiting primitives under Thread, Mutex, Event and
// TlsSlot. Win32 threads, mutexes, events and TLS on Windows; pthreads
// elsewhere, with the same observable behaviour: recursive mutexes,
// auto-reset events, release-and-wait as one step.
//
// Every call that can fail leaves the reason in lastOsError() (platform/OsError.h).

#include <cstdint>

namespace platform {

struct ThreadTag;
struct MutexTag;
struct EventTag;
using ThreadHandle = ThreadTag*;
using MutexHandle = MutexTag*;
using EventHandle = EventTag*;
using TlsIndex = std::uint32_t;
using ThreadEntry = unsigned (*)(void*);

// Results of the waits, as the Win32 waits report them.
inline constexpr std::uint32_t WAIT_SIGNALLED = 0;
inline constexpr std::uint32_t WAIT_TIMED_OUT = 258;
inline constexpr std::uint32_t WAIT_CALL_FAILED = 0xFFFFFFFFu;
inline constexpr std::uint32_t WAIT_FOREVER = 0xFFFFFFFFu;

// Starts a thread running entry(arg) at once; null on failure. *id receives
// the new thread's OS id before this returns.
ThreadHandle createThread(std::uint32_t stackSize, ThreadEntry entry, void* arg, std::uint32_t* id);
// Waits for the thread to end; may be called any number of times.
std::uint32_t waitForThread(ThreadHandle thread, std::uint32_t timeoutMs);
// Releases the handle; the thread itself runs on if it hasn't ended.
bool closeThreadHandle(ThreadHandle thread);
std::uint32_t currentThreadId();
// Gives the calling thread a name a debugger shows. Never fails visibly.
void nameCurrentThread(const char* name);

// A recursive mutex, not owned on creation.
MutexHandle createMutex();
// timeoutMs is 0 (try) or WAIT_FOREVER.
std::uint32_t lockMutex(MutexHandle mutex, std::uint32_t timeoutMs);
bool unlockMutex(MutexHandle mutex);
bool closeMutex(MutexHandle mutex);

// An auto-reset event, initially clear: a set event stays set until one
// wait consumes it.
EventHandle createEvent();
bool setEvent(EventHandle event);
std::uint32_t waitForEvent(EventHandle event, std::uint32_t timeoutMs);
// Releases the mutex once and starts waiting for the event as one step, so
// that a set after the release can't be missed. The mutex is not retaken.
std::uint32_t unlockAndWait(MutexHandle mutex, EventHandle event, std::uint32_t timeoutMs);
bool closeEvent(EventHandle event);

// Thread-local slots; a value left in a slot is not destroyed by the OS.
bool tlsAlloc(TlsIndex* index);
bool tlsGet(TlsIndex index, void** value);
bool tlsSet(TlsIndex index, void* value);
bool tlsFree(TlsIndex index);

}  // namespace platform
