#pragma once

// Thread objects. The OS's first thread is represented by one FakeMainThread,
// which must exist before any other Thread is built. Every other thread is a
// Thread subclass: its OS thread is created by the constructor and waits in
// its entry until start(); destroying or cancelling it before then runs no
// body. A subclass whose run() uses its own members must join in its own
// destructor, since ~Thread runs after those members are gone.

#include "eventloop/Condition.h"
#include "eventloop/Event.h"
#include "eventloop/InThreadActor.h"
#include "eventloop/Mutex.h"
#include "eventloop/ThreadException.h"
#include "eventloop/TlsSlot.h"
#include "foundation/Str.h"
#include "platform/Threads.h"

#include <cstdarg>
#include <cstdint>

class CrashNote;

// A thread's crash notes, handed out by currentThreadCrashNotes().
struct CrashNoteList {
    CrashNote* head = nullptr;
    CrashNote* tail = nullptr;
};

class Thread {
public:
    enum MainTag { Main };
    // When set, new threads start through it: it gets the normal entry and
    // the thread, and must call entry(thread) and return its result.
    using Entry = unsigned (*)(void*);
    using StartWrapper = unsigned (*)(Entry entry, Thread* thread);

    static constexpr std::uint32_t DEFAULT_STACK_SIZE = 0x100000;

    // Hands a finished thread to a loop's thread for reaping: submitted
    // without waiting, it joins and deletes the thread (itself included)
    // unless it runs on that very thread.
    class JoinHelper : public InThreadActor {
    public:
        explicit JoinHelper(Thread* thread) : thread(thread) {}
        void run() override;

    private:
        Thread* thread;
    };

    // The main object, "Main Thread"; throws if one was built before.
    explicit Thread(MainTag);
    explicit Thread(const char* format, ...) TOLVIK_PRINTF_FORMAT(2, 3);
    Thread(std::uint32_t stackSize, const char* format, ...) TOLVIK_PRINTF_FORMAT(3, 4);
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // The thread's body.
    virtual void run() = 0;

    // Lets the body run.
    void start();
    // Waits for the OS thread to end; true once it has.
    bool join();
    // Before start: the body never runs. After: as join().
    void cancelOrJoin();

    bool isCurrent() const;
    bool operator==(const Thread& other) const { return id == other.id; }

    const Str& getName() const { return name; }
    std::uint32_t getId() const { return id; }
    // Per-thread sink for the XML library's error text.
    Str& xmlErrorText() { return xmlErrors; }
    CrashNoteList& crashNoteList();
    JoinHelper& getJoinHelper() { return joinHelper; }

    static void setThreadStartWrapper(StartWrapper wrapper);

private:
    static unsigned osEntry(void* self);
    static unsigned entry(void* self);

    void create(std::uint32_t stackSize, const char* format, va_list args);
    bool waitForStart();
    // Under the state lock: cancels an unstarted thread (true), else marks
    // it joined.
    bool markCancelledOrJoined();

    platform::ThreadHandle handle = nullptr;
    std::uint32_t state = 0;
    std::uint32_t id = 0;
    Str name;
    bool started = false;
    Condition startCondition;
    Str xmlErrors;
    JoinHelper joinHelper{this};
    bool isMain = false;
    CrashNoteList crashNotes;
};

// Gives the OS's first thread its Thread object; the program builds one
// before any other thread.
class FakeMainThread : public Thread {
public:
    FakeMainThread() : Thread(Main) {}
    void run() override {}
};

// True before a main object exists, or on the thread that built it.
bool isMainThread();
// Live non-main Thread objects plus one.
std::uint32_t threadCount();
// Set once any non-main Thread was built; never cleared.
bool threadsWereCreated();
// Null on the main thread and on threads that aren't Thread objects.
Thread* currentThread();
// "Main Thread" where no Thread object is reachable.
const char* currentThreadName();
CrashNoteList& currentThreadCrashNotes();
