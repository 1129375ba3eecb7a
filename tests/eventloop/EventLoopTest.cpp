#include "LoopTestSupport.h"

#include "eventloop/Throttle.h"
#include "platform/EventObjects.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

using namespace looptest;

namespace {

class EventLoopTest : public ::testing::Test {
protected:
    void SetUp() override { ensureMainThread(); }
};

class StopTimer : public OneShotTimeout {
public:
    explicit StopTimer(EventLoop& loop) : loop(loop) {}
    void onTimeout() override
    {
        fired = true;
        loop.stop();
    }
    EventLoop& loop;
    bool fired = false;
};

// Many bare events in one loop, each counting its calls.
struct ManyFds {
    std::vector<std::unique_ptr<BareFd>> fds;
    explicit ManyFds(std::size_t n)
    {
        for (std::size_t i = 0; i < n; ++i) fds.push_back(std::make_unique<BareFd>());
    }
    void addAll(EventLoop& loop)
    {
        for (auto& f : fds) loop.add(f->fd, f->descriptor);
    }
    void removeAll(EventLoop& loop)
    {
        for (auto& f : fds) loop.removeIfAdded(f->fd);
    }
    void signalAll()
    {
        for (auto& f : fds) f->signal();
    }
    int totalCalls() const
    {
        int n = 0;
        for (auto& f : fds) n += f->fd.calls;
        return n;
    }
};

}  // namespace

TEST_F(EventLoopTest, BareEventIsDispatchedOnTheLoopThreadAsReadable)
{
    EventLoop loop;
    BareFd a([&](TestFd&) {
        loop.stop();  // inline on the loop's own thread
        return false;
    });
    loop.add(a.fd, a.descriptor);
    EXPECT_TRUE(a.fd.isAdded());
    a.signal();
    loop.run();
    EXPECT_EQ(1, a.fd.calls);
    EXPECT_EQ(platform::currentThreadId(), a.fd.lastThread);
    // Nothing to enumerate on a bare event: it reads as the wanted read/write bits.
    EXPECT_EQ(platform::NET_READ, a.fd.lastPending);
    loop.remove(a.fd);
    EXPECT_FALSE(a.fd.isAdded());
}

TEST_F(EventLoopTest, TimerStopsAnOtherwiseIdleLoop)
{
    EventLoop loop;
    StopTimer timer(loop);
    // Timers within 170 ms of now fire together, so go beyond that.
    loop.schedule(timer, 300);
    auto start = std::chrono::steady_clock::now();
    loop.run();
    EXPECT_TRUE(timer.fired);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(EventLoopTest, IdleLoopBlocksUntilStoppedFromAnotherThread)
{
    EventLoop loop;
    LoopRunner runner(loop);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(loop.isRunning());
    loop.stop();
    runner.thread.join();
    EXPECT_FALSE(loop.isRunning());
}

TEST_F(EventLoopTest, HandlerReturningTrueIsRemovedAndTheDescriptorFreed)
{
    struct Owner : PollableDescriptor::Owner {
        bool* closed;
        explicit Owner(bool* closed) : closed(closed) {}
        void close() override { *closed = true; }
    };
    bool closed = false;
    EventLoop loop;
    auto* descriptor = new PollableDescriptor(platform::INVALID_SOCKET_VALUE, new Owner(&closed));
    TestFd fd([&](TestFd&) {
        loop.stop();
        return true;
    });
    loop.add(fd, descriptor);
    descriptor->release();  // the loop's reference is the last one
    platform::setEventObject(descriptor->event);
    loop.run();
    EXPECT_EQ(1, fd.calls);
    EXPECT_EQ(1, fd.removedCalls);
    EXPECT_FALSE(fd.isAdded());
    EXPECT_TRUE(closed);
}

// 64 descriptors fill the loop's own set, so the run's own wake-up is the
// 65th: a waiter thread takes the first descriptor's place.
TEST_F(EventLoopTest, SixtyFifthDescriptorMovesIntoAWaiterThread)
{
    EventLoop loop;
    ManyFds many(64);
    many.addAll(loop);
    std::uint32_t before = threadCount();
    LoopRunner runner(loop);
    EXPECT_EQ(before + 1, threadCount());

    many.signalAll();
    ASSERT_TRUE(eventually([&] { return many.totalCalls() == 64; }));
    for (auto& f : many.fds) {
        EXPECT_EQ(1, f->fd.calls);
        EXPECT_EQ(runner.threadId.load(), f->fd.lastThread);
    }
    // The wake-up now sits in the waiter's set and still works.
    int ran = 0;
    runInLoop(loop, [&] { ran = 1; });
    EXPECT_EQ(1, ran);
    runner.stopAndJoin();
    many.removeAll(loop);
}

TEST_F(EventLoopTest, RemovalParksWaiterThreadsAndGrowthReusesThem)
{
    EventLoop loop;
    LoopRunner runner(loop);
    std::uint32_t before = threadCount();
    ManyFds many(300);
    runInLoop(loop, [&] { many.addAll(loop); });
    std::uint32_t grown = threadCount();
    EXPECT_GE(grown, before + 4);  // 300 descriptors need at least five sets

    many.signalAll();
    ASSERT_TRUE(eventually([&] { return many.totalCalls() == 300; }));

    runInLoop(loop, [&] { many.removeAll(loop); });
    EXPECT_EQ(grown, threadCount());  // parked, not destroyed

    ManyFds again(300);
    runInLoop(loop, [&] { again.addAll(loop); });
    EXPECT_EQ(grown, threadCount());  // reused
    again.signalAll();
    ASSERT_TRUE(eventually([&] { return again.totalCalls() == 300; }));
    for (auto& f : again.fds) EXPECT_EQ(1, f->fd.calls);

    // Shrinking part way keeps the rest reachable.
    runInLoop(loop, [&] {
        for (std::size_t i = 0; i < again.fds.size(); i += 2) loop.remove(again.fds[i]->fd);
    });
    again.signalAll();
    ASSERT_TRUE(eventually([&] { return again.totalCalls() == 450; }));
    for (std::size_t i = 0; i < again.fds.size(); ++i) EXPECT_EQ(i % 2 ? 2 : 1, again.fds[i]->fd.calls);
    runner.stopAndJoin();
    again.removeAll(loop);
}

// A handler that removes other members ends the pass: members it removed
// are never called afterwards, even when their events were already set, and
// everything else is still served.
TEST_F(EventLoopTest, CallbackRemovingOtherDescriptorsEndsThePassSafely)
{
    for (std::size_t count : {5u, 200u}) {
        SCOPED_TRACE(count);
        EventLoop loop;
        ManyFds many(count);
        std::set<TestFd*> removed;
        int lateCalls = 0;
        for (auto& f : many.fds) {
            f->fd.handler = [&](TestFd& self) {
                if (removed.count(&self)) lateCalls++;
                return false;
            };
        }
        many.fds[0]->fd.handler = [&](TestFd&) {
            // Every third member, in the loop's set and in waiter sets.
            for (std::size_t i = 1; i < many.fds.size(); i += 3) {
                if (many.fds[i]->fd.calls == 0) {  // not served yet in this pass
                    loop.remove(many.fds[i]->fd);
                    removed.insert(&many.fds[i]->fd);
                }
            }
            return false;
        };
        LoopRunner runner(loop);
        runInLoop(loop, [&] {
            many.addAll(loop);
            many.signalAll();
        });
        ASSERT_TRUE(eventually([&] {
            bool done = false;
            runInLoop(loop, [&] { done = many.totalCalls() == static_cast<int>(count - removed.size()); });
            return done;
        }));
        runner.stopAndJoin();
        EXPECT_FALSE(removed.empty());
        EXPECT_EQ(0, lateCalls);
        for (auto& f : many.fds) EXPECT_EQ(removed.count(&f->fd) ? 0 : 1, f->fd.calls);
        many.removeAll(loop);
    }
}

TEST_F(EventLoopTest, ReadWithCloseIsDeliveredReadFirstThenClose)
{
    platform::Socket pair[2];
    ASSERT_TRUE(platform::createSocketPair(pair));
    EventLoop loop;
    auto* descriptor = new PollableDescriptor(pair[0]);
    std::vector<std::uint32_t> seen;
    TestFd fd([&](TestFd& self) {
        seen.push_back(self.getPendingEvents());
        if (self.getPendingEvents() & platform::NET_READ) {
            char buf[16];
            platform::recvOnSocket(pair[0], buf, sizeof buf);
        }
        if (self.getPendingEvents() == platform::NET_CLOSE) {
            loop.stop();
            return true;
        }
        return false;
    });
    loop.add(fd, descriptor);
    descriptor->release();
    ASSERT_EQ(4, platform::sendOnSocket(pair[1], "data", 4));
    platform::closeSocket(pair[1]);
    StopTimer guard(loop);
    loop.schedule(guard, 5000);
    loop.run();
    EXPECT_FALSE(guard.fired);
    loop.remove(guard);
    ASSERT_GE(seen.size(), 2u);
    EXPECT_TRUE(seen.front() & platform::NET_READ);
    EXPECT_EQ(platform::NET_CLOSE, seen.back());
    platform::closeSocket(pair[0]);
}

TEST_F(EventLoopTest, ActorCanAskForOneMoreHandleEvents)
{
    EventLoop loop;
    BareFd a;
    BareFd notAdded;
    LoopRunner runner(loop);
    runInLoop(loop, [&] { loop.add(a.fd, a.descriptor); });
    bool asked = false;
    bool refused = true;
    runInLoop(loop, [&] {
        asked = loop.requestHandleEvents(a.fd);
        refused = !loop.requestHandleEvents(notAdded.fd);
    });
    EXPECT_TRUE(asked);
    EXPECT_TRUE(refused);
    ASSERT_TRUE(eventually([&] { return a.fd.calls == 1; }));
    EXPECT_EQ(runner.threadId.load(), a.fd.lastThread);
    runInLoop(loop, [&] { loop.remove(a.fd); });
}

TEST_F(EventLoopTest, ThrottleHoldsEventsBackUntilReleased)
{
    platform::Socket pair[2];
    ASSERT_TRUE(platform::createSocketPair(pair));
    EventLoop loop;
    Throttle throttle;
    auto* descriptor = new PollableDescriptor(pair[0]);
    TestFd fd([&](TestFd&) {
        char buf[16];
        platform::recvOnSocket(pair[0], buf, sizeof buf);
        return false;
    });
    fd.setThrottle(&throttle);
    std::uint32_t holds = 0;
    throttle.hold(platform::NET_READ, &holds);
    LoopRunner runner(loop);
    runInLoop(loop, [&] { loop.add(fd, descriptor); });
    descriptor->release();

    ASSERT_EQ(1, platform::sendOnSocket(pair[1], "x", 1));
    std::uint32_t held = 0;
    std::uint32_t wanted = 0;
    ASSERT_TRUE(eventually([&] {
        runInLoop(loop, [&] {
            held = fd.getHeldBits();
            wanted = fd.getWantedEvents();
        });
        return held == platform::NET_READ;
    }));
    EXPECT_EQ(0, fd.calls);
    EXPECT_EQ(0u, wanted & platform::NET_READ);

    // Released on the loop's thread, since it selects.
    runInLoop(loop, [&] { throttle.release(platform::NET_READ); });
    ASSERT_TRUE(eventually([&] { return fd.calls == 1; }));
    runInLoop(loop, [&] {
        held = fd.getHeldBits();
        loop.remove(fd);
    });
    EXPECT_EQ(0u, held);
    runner.stopAndJoin();
    platform::closeSocket(pair[0]);
    platform::closeSocket(pair[1]);
}
