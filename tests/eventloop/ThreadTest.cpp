#include "eventloop/Condition.h"
#include "eventloop/Event.h"
#include "eventloop/Mutex.h"
#include "eventloop/Thread.h"
#include "eventloop/TlsSlot.h"
#include "logging/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

// The one main object of this process, made on first use.
void ensureMainThread()
{
    static FakeMainThread* mainThread = new FakeMainThread;
    (void)mainThread;
}

class FunctionThread : public Thread {
public:
    explicit FunctionThread(std::function<void()> body, const char* name = "worker")
        : Thread("%s", name), body(std::move(body))
    {
    }
    ~FunctionThread() override { cancelOrJoin(); }
    void run() override
    {
        ran = true;
        body();
    }
    std::function<void()> body;
    std::atomic<bool> ran{false};
};

// Spins until pred holds, reading it under m; no timing assumptions.
void waitUntil(Mutex& m, const std::function<bool()>& pred)
{
    for (;;) {
        {
            MutexLock lock(m);
            if (pred()) return;
        }
        std::this_thread::yield();
    }
}

class ThreadTest : public ::testing::Test {
protected:
    void SetUp() override { ensureMainThread(); }
};

TEST_F(ThreadTest, NamesAndIdentityPerThread)
{
    EXPECT_THROW(FakeMainThread(), ThreadException);
    std::string innerName;
    bool innerIsMain = true;
    Thread* inner = nullptr;
    FunctionThread t(
        [&] {
            innerName = currentThreadName();
            innerIsMain = isMainThread();
            inner = currentThread();
        },
        "poller 7");
    EXPECT_EQ(t.getName(), "poller 7");
    EXPECT_EQ(threadCount(), 2u);
    EXPECT_STREQ(currentThreadName(), "Main Thread");
    EXPECT_TRUE(isMainThread());
    EXPECT_EQ(currentThread(), nullptr);
    EXPECT_FALSE(t.isCurrent());
    t.start();
    t.join();
    EXPECT_EQ(innerName, "poller 7");
    EXPECT_FALSE(innerIsMain);
    EXPECT_EQ(inner, &t);
    EXPECT_NE(&currentThreadCrashNotes(), &t.crashNoteList());
}

std::atomic<int> wrappedStarts{0};
std::atomic<int> wrappedEnds{0};

unsigned countingWrapper(Thread::Entry entry, Thread* thread)
{
    ++wrappedStarts;
    unsigned result = entry(thread);
    ++wrappedEnds;
    return result;
}

TEST_F(ThreadTest, UnstartedThreadRunsNoBodyAndIsWaitedFor)
{
    Thread::setThreadStartWrapper(countingWrapper);
    wrappedStarts = wrappedEnds = 0;
    bool bodyRan = false;
    {
        FunctionThread t([&] { bodyRan = true; });
    }
    // The destructor came back only after the OS thread had left its entry.
    EXPECT_EQ(wrappedEnds.load(), 1);
    EXPECT_FALSE(bodyRan);

    FunctionThread cancelled([&] { bodyRan = true; });
    cancelled.cancelOrJoin();
    EXPECT_FALSE(cancelled.ran);
    EXPECT_EQ(wrappedEnds.load(), 2);

    FunctionThread started([] {});
    started.start();
    started.cancelOrJoin();
    EXPECT_TRUE(started.ran);
    Thread::setThreadStartWrapper(nullptr);
    EXPECT_EQ(wrappedStarts.load(), 3);
}

TEST_F(ThreadTest, JoinHelperReapsAFinishedThreadFromAnotherThread)
{
    static bool deleted = false;
    class SelfReaping : public Thread {
    public:
        SelfReaping() : Thread("reaped") {}
        ~SelfReaping() override { deleted = true; }
        // On its own thread the helper must leave the thread alone.
        void run() override { getJoinHelper().run(); }
    };
    deleted = false;
    auto* t = new SelfReaping;
    t->start();
    InThreadActor& helper = t->getJoinHelper();
    helper.run();
    EXPECT_TRUE(deleted);
}

TEST_F(ThreadTest, MutexIsRecursiveAndExcludesOthers)
{
    Mutex m;
    m.lock();
    m.lock();
    auto otherTry = [&] {
        bool got = false;
        FunctionThread t([&] {
            got = m.tryLock();
            if (got) m.unlock();
        });
        t.start();
        t.join();
        return got;
    };
    EXPECT_FALSE(otherTry());
    m.unlock();
    EXPECT_FALSE(otherTry());
    {
        MutexUnlock released(m);
        EXPECT_TRUE(otherTry());
    }
    EXPECT_FALSE(otherTry());
    m.unlock();
    EXPECT_TRUE(otherTry());
}

TEST_F(ThreadTest, EventLatchesButConditionLosesAWakeWithNoWaiter)
{
    Mutex m;
    MutexLock lock(m);
    Event e;
    e.signal();
    e.signal();
    EXPECT_TRUE(e.wait(m, 0));
    // Auto-reset: the two signals were one.
    EXPECT_FALSE(e.wait(m, 0));

    Condition c;
    c.signal();
    c.broadcast();
    EXPECT_FALSE(c.wait(m, 0));
    EXPECT_FALSE(c.wait(m, 10));
    // The mutex is held again after a timed-out wait.
    FunctionThread t([&] {
        bool got = m.tryLock();
        EXPECT_FALSE(got);
        if (got) m.unlock();
    });
    t.start();
    t.join();
}

TEST_F(ThreadTest, EventWakesItsWaiterFromAnotherThread)
{
    Mutex m;
    Event e;
    int rounds = 0;
    bool waiting = false;
    FunctionThread t([&] {
        MutexLock lock(m);
        for (int i = 0; i < 100; ++i) {
            waiting = true;
            e.wait(m);
            ++rounds;
        }
    });
    t.start();
    for (int i = 0; i < 100; ++i) {
        // Signalled under the mutex once the waiter is in its wait: the
        // release and the wait are one step, so the signal can't fall between.
        waitUntil(m, [&] { return waiting && rounds == i; });
        MutexLock lock(m);
        waiting = false;
        e.signal();
    }
    t.join();
    EXPECT_EQ(rounds, 100);
}

TEST_F(ThreadTest, ConditionSignalWakesNewestWaiterAndBroadcastWakesAll)
{
    Mutex m;
    Condition c;
    int waiting = 0;
    std::vector<int> woken;
    auto waiter = [&](int id) {
        return [&, id] {
            MutexLock lock(m);
            ++waiting;
            c.wait(m);
            woken.push_back(id);
        };
    };
    FunctionThread a(waiter(1)), b(waiter(2)), d(waiter(3));
    a.start();
    waitUntil(m, [&] { return waiting == 1; });
    b.start();
    waitUntil(m, [&] { return waiting == 2; });
    d.start();
    waitUntil(m, [&] { return waiting == 3; });
    {
        MutexLock lock(m);
        c.signal();
    }
    waitUntil(m, [&] { return woken.size() == 1; });
    EXPECT_EQ(woken, std::vector<int>({3}));
    {
        MutexLock lock(m);
        c.broadcast();
    }
    a.join();
    b.join();
    d.join();
    EXPECT_EQ(woken.size(), 3u);
}

int destroyed = 0;
void destroyInt(int* p)
{
    ++destroyed;
    delete p;
}

TEST_F(ThreadTest, TlsSlotOwnsOneValuePerThread)
{
    destroyed = 0;
    {
        TlsSlot<int> slot(destroyInt);
        EXPECT_EQ(slot.get(), nullptr);
        int* first = new int(1);
        slot.set(first);
        slot.set(first);
        EXPECT_EQ(destroyed, 0);
        slot.set(new int(2));
        EXPECT_EQ(destroyed, 1);

        int* inOther = nullptr;
        FunctionThread t([&] {
            inOther = slot.get();
            slot.set(new int(3));
            delete slot.release();
        });
        t.start();
        t.join();
        EXPECT_EQ(inOther, nullptr);
        EXPECT_EQ(*slot.get(), 2);

        int* kept = slot.release();
        EXPECT_EQ(slot.get(), nullptr);
        slot.set(kept);
        EXPECT_EQ(destroyed, 1);
    }
    EXPECT_EQ(destroyed, 2);
}

TEST_F(ThreadTest, FailuresAreLoggedThenThrownInTheFixedForm)
{
    LogCapture capture;
    Mutex m;
    try {
        m.unlock();
        FAIL() << "released a mutex that wasn't held";
    } catch (const ThreadException& e) {
        std::string text = e.what();
        EXPECT_TRUE(std::regex_match(
            text, std::regex("Main Thread: about to throw a ThreadException: ReleaseMutex: .+; 1 threads active")))
            << text;
        ASSERT_EQ(capture.count(), 1u);
        EXPECT_EQ(capture.entries()[0].level, LOG_LEVEL_WARN);
        EXPECT_EQ(capture.entries()[0].category, "Thread");
        EXPECT_EQ(capture.entries()[0].message, text);
    }

    try {
        checkWaitResult(false, platform::WAIT_TIMED_OUT, "WaitForSingleObject");
        FAIL();
    } catch (const ThreadException& e) {
        EXPECT_STREQ(e.what(), "Main Thread: unexpected timeout from WaitForSingleObject");
    }
    try {
        checkWaitResult(true, 0x80, "SignalObjectAndWait");
        FAIL();
    } catch (const ThreadException& e) {
        EXPECT_STREQ(e.what(), "Main Thread: unexpected return value 0x80 from SignalObjectAndWait");
    }
    EXPECT_FALSE(checkWaitResult(true, platform::WAIT_TIMED_OUT, "WaitForSingleObject"));
}

}  // namespace
