#include "LoopTestSupport.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace looptest;

namespace {

class InThreadActorTest : public ::testing::Test {
protected:
    void SetUp() override { ensureMainThread(); }
};

class CallbackTimer : public OneShotTimeout {
public:
    explicit CallbackTimer(std::function<void()> body) : body(std::move(body)) {}
    void onTimeout() override { body(); }
    std::function<void()> body;
};

// Deletes itself once run: what a submitter that doesn't wait hands over.
class SelfDeletingActor : public InThreadActor {
public:
    SelfDeletingActor(std::atomic<int>* ran, std::atomic<std::uint32_t>* thread) : ran(ran), thread(thread) {}
    void run() override
    {
        thread->store(platform::currentThreadId());
        ran->fetch_add(1);
        delete this;
    }
    std::atomic<int>* ran;
    std::atomic<std::uint32_t>* thread;
};

}  // namespace

TEST_F(InThreadActorTest, BeforeRunTheCallerRunsTheActor)
{
    EventLoop loop;
    std::uint32_t ranOn = 0;
    runInLoop(loop, [&] { ranOn = platform::currentThreadId(); });
    EXPECT_EQ(platform::currentThreadId(), ranOn);

    // Also for another thread, and for an actor nobody waits for.
    std::atomic<int> ran{0};
    std::atomic<std::uint32_t> thread{0};
    std::uint32_t other = 0;
    std::thread t([&] {
        other = platform::currentThreadId();
        loop.runInThread(new SelfDeletingActor(&ran, &thread), false);
    });
    t.join();
    EXPECT_EQ(1, ran);
    EXPECT_EQ(other, thread.load());
}

TEST_F(InThreadActorTest, WhileRunningActorsRunOnTheLoopThreadAndSubmittersWait)
{
    EventLoop loop;
    LoopRunner runner(loop);
    std::uint32_t ranOn = 0;
    runInLoop(loop, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ranOn = platform::currentThreadId();
    });
    EXPECT_EQ(runner.threadId.load(), ranOn);  // written before runInThread returned

    std::atomic<int> ran{0};
    std::atomic<std::uint32_t> thread{0};
    loop.runInThread(new SelfDeletingActor(&ran, &thread), false);
    ASSERT_TRUE(eventually([&] { return ran == 1; }));
    EXPECT_EQ(runner.threadId.load(), thread.load());

    // An actor on the loop's thread that submits with wait runs the inner one inline.
    std::vector<int> order;
    runInLoop(loop, [&] {
        order.push_back(1);
        runInLoop(loop, [&] { order.push_back(2); });
        order.push_back(3);
    });
    EXPECT_EQ((std::vector<int>{1, 2, 3}), order);
}

TEST_F(InThreadActorTest, StopFromTheLoopThreadTakesEffectAtOnce)
{
    EventLoop loop;
    bool returned = false;
    CallbackTimer timer([&] {
        loop.stop();
        returned = true;
    });
    loop.schedule(timer, 0);
    loop.run();
    EXPECT_TRUE(returned);
    EXPECT_FALSE(loop.isRunning());
}

TEST_F(InThreadActorTest, StopBeforeRunMakesRunReturnAtOnce)
{
    EventLoop loop;
    loop.stop();
    CallbackTimer timer([] { FAIL() << "a stopped loop fired a timer"; });
    loop.schedule(timer, 1);
    loop.run();
    loop.remove(timer);
}

TEST_F(InThreadActorTest, TryRunInThreadRunsNothingOnAStoppedLoop)
{
    EventLoop loop;
    bool ran = false;
    FunctionActor actor([&] { ran = true; });
    EXPECT_FALSE(loop.tryRunInThread(&actor));
    EXPECT_FALSE(ran);

    LoopRunner runner(loop);
    EXPECT_TRUE(loop.tryRunInThread(&actor));
    EXPECT_TRUE(ran);
    runner.stopAndJoin();
    ran = false;
    EXPECT_FALSE(loop.tryRunInThread(&actor));
    EXPECT_FALSE(ran);
}

// While the loop finishes, it holds the queue: a submitter arriving then
// waits, and runs its actor in its own thread once the loop has let go.
TEST_F(InThreadActorTest, SubmitterDuringShutdownRunsInlineAfterTheLoopLetsGo)
{
    EventLoop loop;
    std::atomic<bool> submitNow{false};
    std::atomic<bool> drainFinished{false};
    bool sawDrainFinished = false;
    std::uint32_t ranOn = 0;
    std::uint32_t submitter = 0;
    std::thread t([&] {
        submitter = platform::currentThreadId();
        while (!submitNow) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        runInLoop(loop, [&] {
            sawDrainFinished = drainFinished;
            ranOn = platform::currentThreadId();
        });
    });
    // Zero-delay work left at the end runs while the loop holds its claim.
    CallbackTimer lastWork([&] {
        submitNow = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        drainFinished = true;
    });
    CallbackTimer stopper([&] {
        loop.schedule(lastWork, 0);
        loop.stop();
    });
    loop.schedule(stopper, 0);
    loop.run();
    t.join();
    EXPECT_TRUE(sawDrainFinished);
    EXPECT_EQ(submitter, ranOn);
}

TEST_F(InThreadActorTest, RunUntilKeepsRunningActorsOnTheLoopThread)
{
    EventLoop loop;
    LoopRunner runner(loop);
    unsigned pending = 3;
    std::vector<std::thread> workers;
    runInLoop(loop, [&] {
        for (int i = 0; i < 3; ++i)
            workers.emplace_back([&] { runInLoop(loop, [&] { pending--; }); });
        loop.runUntilZero(&pending);
    });
    EXPECT_EQ(0u, pending);
    for (auto& w : workers) w.join();
}

TEST_F(InThreadActorTest, RunUntilOnAStoppedLoopWaitsForOtherThreadsClaims)
{
    EventLoop loop;
    unsigned pending = 4;
    std::vector<std::thread> workers;
    for (int i = 0; i < 4; ++i) {
        workers.emplace_back([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            runInLoop(loop, [&] { pending--; });
        });
    }
    loop.runUntilZero(&pending);
    EXPECT_EQ(0u, pending);
    for (auto& w : workers) w.join();
}

TEST_F(InThreadActorTest, ThrowingActorLeavesRunAndReleasesItsSubmitter)
{
    EventLoop loop;
    std::atomic<bool> submitterReturned{false};
    std::thread loopThread([&] { EXPECT_THROW(loop.run(), std::runtime_error); });
    ASSERT_TRUE(eventually([&] { return loop.isRunning(); }));
    std::thread submitter([&] {
        runInLoop(loop, [] { throw std::runtime_error("actor failed"); });
        submitterReturned = true;
    });
    submitter.join();
    loopThread.join();
    EXPECT_TRUE(submitterReturned);
    // The queue still works: with the loop gone the caller runs actors.
    std::uint32_t ranOn = 0;
    runInLoop(loop, [&] { ranOn = platform::currentThreadId(); });
    EXPECT_EQ(platform::currentThreadId(), ranOn);
}
