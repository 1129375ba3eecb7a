#include "eventloop/Thread.h"

#include <atomic>
#include <ctime>

namespace {

// Process-wide thread state. Never destroyed: threads may outlive static
// destruction at exit.
std::atomic<Thread::StartWrapper> threadStartWrapper{nullptr};
std::atomic<bool> mainThreadCreated{false};
std::atomic<bool> anyThreadCreated{false};
std::atomic<TlsSlot<Thread>*> currentThreadSlot{nullptr};
std::atomic<std::uint32_t> liveThreadCount{0};
std::atomic<std::uint32_t> mainThreadId{0};
// The main object and threads without a Thread object share these.
CrashNoteList sharedCrashNotes;

Mutex& threadStateMutex()
{
    static Mutex* mutex = new Mutex;
    return *mutex;
}

}  // namespace

Thread::Thread(MainTag) : state(1), name("Main Thread"), started(true), isMain(true)
{
    if (mainThreadCreated.load()) throwThreadException("Main Thread created twice!");
    std::clock();
    platform::nameCurrentThread(name.c_str());
    id = platform::currentThreadId();
    mainThreadId.store(id);
    mainThreadCreated.store(true);
}

Thread::Thread(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    try {
        create(DEFAULT_STACK_SIZE, format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}

Thread::Thread(std::uint32_t stackSize, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    try {
        create(stackSize, format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}

void Thread::create(std::uint32_t stackSize, const char* format, va_list args)
{
    {
        MutexLock lock(threadStateMutex());
        if (liveThreadCount.load() == 0 && !currentThreadSlot.load()) currentThreadSlot.store(new TlsSlot<Thread>);
        liveThreadCount.fetch_add(1);
    }
    // The count stays raised: a half-built object never runs its destructor.
    if (!mainThreadCreated.load()) throwThreadException("Thread created before main thread!");
    anyThreadCreated.store(true);
    name.appendFormatV(format, args);
    Thread::Entry start = &Thread::osEntry;
    handle = platform::createThread(stackSize, start, this, &id);
    if (!handle) throwThreadFailure("_beginthreadex");
}

Thread::~Thread()
{
    try {
        if (handle && threadChecksAreEnabled()) {
            bool mustWait;
            {
                MutexLock lock(threadStateMutex());
                mustWait = state != 1;
                if (mustWait) markCancelledOrJoined();
            }
            if (mustWait) checkWaitResult(false, platform::waitForThread(handle, platform::WAIT_FOREVER), "WaitForSingleObject");
        }
    } catch (const ThreadException&) {
        // Already logged; a destructor can't pass it on.
    }
    if (!isMain) {
        MutexLock lock(threadStateMutex());
        if (liveThreadCount.fetch_sub(1) == 1) delete currentThreadSlot.exchange(nullptr);
    }
    if (handle && !platform::closeThreadHandle(handle)) {
        try {
            throwThreadFailure("CloseHandle");
        } catch (const ThreadException&) {
            // Already logged; a destructor can't pass it on.
        }
    }
}

bool Thread::markCancelledOrJoined()
{
    if (started) {
        state = 1;
        return false;
    }
    started = true;
    state = 2;
    startCondition.broadcast();
    return true;
}

void Thread::start()
{
    MutexLock lock(threadStateMutex());
    started = true;
    startCondition.broadcast();
}

bool Thread::join()
{
    {
        MutexLock lock(threadStateMutex());
        state = 1;
    }
    return checkWaitResult(false, platform::waitForThread(handle, platform::WAIT_FOREVER), "WaitForSingleObject");
}

void Thread::cancelOrJoin()
{
    bool cancelled;
    {
        MutexLock lock(threadStateMutex());
        cancelled = markCancelledOrJoined();
    }
    checkWaitResult(false, platform::waitForThread(handle, platform::WAIT_FOREVER), "WaitForSingleObject");
    if (cancelled) {
        MutexLock lock(threadStateMutex());
        state = 1;
    }
}

bool Thread::isCurrent() const
{
    return id == platform::currentThreadId();
}

CrashNoteList& Thread::crashNoteList()
{
    return isMain ? sharedCrashNotes : crashNotes;
}

void Thread::JoinHelper::run()
{
    if (thread->isCurrent()) return;
    thread->join();
    delete thread;
}

void Thread::setThreadStartWrapper(StartWrapper wrapper)
{
    threadStartWrapper.store(wrapper);
}

unsigned Thread::osEntry(void* self)
{
    StartWrapper wrapper = threadStartWrapper.load();
    return wrapper ? wrapper(&Thread::entry, static_cast<Thread*>(self)) : entry(self);
}

unsigned Thread::entry(void* self)
{
    Thread* thread = static_cast<Thread*>(self);
    platform::nameCurrentThread(thread->name.c_str());
    currentThreadSlot.load()->set(thread);
    if (!thread->waitForStart()) return 0;
    thread->run();
    return 0;
}

bool Thread::waitForStart()
{
    MutexLock lock(threadStateMutex());
    while (!started) startCondition.wait(threadStateMutex());
    return state != 2;
}

bool isMainThread()
{
    return !mainThreadCreated.load() || platform::currentThreadId() == mainThreadId.load();
}

std::uint32_t threadCount()
{
    return liveThreadCount.load() + 1;
}

bool threadsWereCreated()
{
    return anyThreadCreated.load();
}

Thread* currentThread()
{
    if (liveThreadCount.load() == 0) return nullptr;
    TlsSlot<Thread>* slot = currentThreadSlot.load();
    return slot ? slot->get() : nullptr;
}

const char* currentThreadName()
{
    Thread* thread = currentThread();
    return thread ? thread->getName().c_str() : "Main Thread";
}

CrashNoteList& currentThreadCrashNotes()
{
    Thread* thread = currentThread();
    return thread ? thread->crashNoteList() : sharedCrashNotes;
}
