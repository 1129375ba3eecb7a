#include "eventloop/Timeout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>
#include <random>
#include <vector>

namespace {

// Records every firing; an optional action runs inside the callback.
struct Recorder {
    std::vector<int> fired;
};

class TestOneShot : public OneShotTimeout {
public:
    TestOneShot(Recorder& r, int id) : recorder(r), id(id) {}
    void onTimeout() override
    {
        recorder.fired.push_back(id);
        if (action) action();
    }
    Recorder& recorder;
    int id;
    std::function<void()> action;
};

class TestPeriodic : public PeriodicTimeout {
public:
    TestPeriodic(Recorder& r, int id) : recorder(r), id(id) {}
    void onTimeout() override
    {
        recorder.fired.push_back(id);
        if (action) action();
    }
    Recorder& recorder;
    int id;
    std::function<void()> action;
};

class TimeoutQueueTest : public ::testing::Test {
protected:
    Timeval now() const { return clock.now(); }
    void advance(std::uint64_t ms) { clock.advanceMilliseconds(ms); }
    // One pass of the loop at the clock's time.
    void pass()
    {
        Timeval t = now();
        queue.fireDue(t);
    }

    ManualClock clock;
    TimeoutQueue queue{&clock};
    Recorder rec;
};

TEST_F(TimeoutQueueTest, TimersWithin170MsFireInOnePassAndLaterOnesWait)
{
    TestOneShot a(rec, 1), b(rec, 2), c(rec, 3), zero(rec, 0);
    queue.schedule(a, 1000);
    queue.schedule(b, 1100);
    queue.schedule(c, 1200);
    queue.schedule(zero, 0);
    EXPECT_EQ(queue.millisecondsUntilNext(now()), 0);
    pass();
    EXPECT_EQ(rec.fired, std::vector<int>({0}));

    advance(1000);
    pass();
    EXPECT_EQ(rec.fired, std::vector<int>({0, 1, 2}));
    EXPECT_FALSE(a.isScheduled());
    EXPECT_TRUE(c.isScheduled());
    EXPECT_EQ(queue.millisecondsUntilNext(now()), 200);
    advance(200);
    pass();
    EXPECT_EQ(rec.fired, std::vector<int>({0, 1, 2, 3}));
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.millisecondsUntilNext(now()), -1);
}

TEST_F(TimeoutQueueTest, WaitIsRoundedUpAndCapped)
{
    TestOneShot a(rec, 1);
    queue.schedule(a, 10);
    Timeval almost = now();
    almost.addTicks(10 * 10000 - 1);
    EXPECT_EQ(queue.millisecondsUntilNext(almost), 1);
    queue.remove(a);
    queue.schedule(a, 30ull * 24 * 3600 * 1000);
    EXPECT_EQ(queue.millisecondsUntilNext(now()), 0x7FFFFFFF);
    queue.remove(a);
}

// The heap against a sorted model: many timers, random removals and moves.
TEST_F(TimeoutQueueTest, FiresInExpiryOrderThroughInsertRemoveAndMove)
{
    std::mt19937 rng(12345);
    std::vector<std::unique_ptr<TestOneShot>> timers;
    for (int i = 0; i < 2000; ++i) {
        timers.push_back(std::make_unique<TestOneShot>(rec, i));
        queue.schedule(*timers.back(), rng() % 100000);
    }
    std::vector<bool> live(timers.size(), true);
    for (int i = 0; i < 600; ++i) {
        std::size_t k = rng() % timers.size();
        if (rng() % 2) {
            queue.remove(*timers[k]);
            live[k] = false;
        } else {
            queue.schedule(*timers[k], rng() % 100000);
            live[k] = true;
        }
    }
    std::size_t expected = std::count(live.begin(), live.end(), true);
    ASSERT_EQ(queue.size(), expected);

    std::vector<Timeval> expiries;
    for (auto& t : timers)
        t->action = [&, t = t.get()] { expiries.push_back(t->getExpiry()); };
    while (!queue.empty()) {
        advance(50);
        Timeval t = now();
        std::size_t before = expiries.size();
        queue.fireDue(t);
        for (std::size_t i = before; i < expiries.size(); ++i) {
            Timeval limit = now();
            limit.addMilliseconds(170);
            EXPECT_LE(expiries[i], limit);
        }
    }
    EXPECT_EQ(rec.fired.size(), expected);
    EXPECT_TRUE(std::is_sorted(expiries.begin(), expiries.end()));
    for (std::size_t i = 0; i < live.size(); ++i)
        EXPECT_EQ(std::count(rec.fired.begin(), rec.fired.end(), static_cast<int>(i)), live[i] ? 1 : 0) << i;
}

TEST_F(TimeoutQueueTest, PeriodicRearmsFromTheEndOfThePass)
{
    TestPeriodic p(rec, 1);
    TestOneShot slow(rec, 2);
    slow.action = [&] { advance(50); };  // a callback that takes 50 ms
    queue.schedule(p, 1000);
    queue.schedule(slow, 1000);
    advance(1000);
    Timeval start = now();
    pass();
    EXPECT_EQ(rec.fired.size(), 2u);
    ASSERT_TRUE(p.isScheduled());
    Timeval expected = start;
    expected.addMilliseconds(1050);
    EXPECT_EQ(p.getExpiry(), expected);
    EXPECT_EQ(p.getDelay(), 1000u);
    queue.remove(p);
}

TEST_F(TimeoutQueueTest, PeriodicCallbackCanStopOrReschedule)
{
    TestPeriodic stopper(rec, 1), changer(rec, 2);
    stopper.action = [&] { queue.remove(stopper); };
    changer.action = [&] { queue.reschedule(changer, 300); };
    queue.schedule(stopper, 100);
    queue.schedule(changer, 100);
    advance(100);
    pass();
    EXPECT_FALSE(stopper.isScheduled());
    ASSERT_TRUE(changer.isScheduled());
    EXPECT_EQ(changer.getDelay(), 300u);
    EXPECT_EQ(queue.millisecondsUntilNext(now()), 300);
    queue.remove(changer);
}

TEST_F(TimeoutQueueTest, RemovingADueTimerRunsItOnlyWithZeroDelay)
{
    TestOneShot first(rec, 1), dueZero(rec, 2), dueDelayed(rec, 3);
    Timeval earlier = now();
    earlier.subMilliseconds(10);
    queue.schedule(first, earlier, 0);
    queue.schedule(dueZero, 0);
    queue.schedule(dueDelayed, 100);
    // All three are due in this pass; the first removes the others while
    // they wait on the due list.
    first.action = [&] {
        queue.remove(dueZero);
        EXPECT_EQ(rec.fired, std::vector<int>({1, 2}));
        queue.remove(dueDelayed);
    };
    pass();
    EXPECT_EQ(rec.fired, std::vector<int>({1, 2}));
    EXPECT_FALSE(dueZero.isScheduled());
    EXPECT_FALSE(dueDelayed.isScheduled());
    EXPECT_TRUE(queue.empty());
}

TEST_F(TimeoutQueueTest, ReschedulingKeepsThePhase)
{
    TestPeriodic p(rec, 1);
    queue.schedule(p, 1000);
    Timeval start = now();
    Timeval expiry = p.getExpiry();
    queue.reschedule(p, 1000);
    EXPECT_EQ(p.getExpiry(), expiry);

    advance(300);
    queue.reschedule(p, 500);  // 300 of 500 gone: 200 left
    Timeval expected = start;
    expected.addMilliseconds(500);
    EXPECT_EQ(p.getExpiry(), expected);

    advance(100);
    queue.reschedule(p, 200);  // 400 gone, more than the new period
    EXPECT_EQ(p.getExpiry(), now());

    queue.remove(p);
    queue.reschedule(p, 700);  // idle: a plain schedule
    expected = now();
    expected.addMilliseconds(700);
    EXPECT_EQ(p.getExpiry(), expected);
    queue.remove(p);
}

TEST_F(TimeoutQueueTest, ClockStepBackDoesNotStallAPeriodicTimer)
{
    TestPeriodic p(rec, 1);
    queue.schedule(p, 1000);
    Timeval before = now();
    std::int32_t wait = queue.millisecondsUntilNext(before);
    EXPECT_EQ(wait, 1000);
    clock.set(Timeval(before.ticks - 3600ull * Timeval::TICKS_PER_SECOND));
    Timeval after = now();
    queue.correctForClockChange(before, after, static_cast<std::uint64_t>(wait));
    EXPECT_EQ(queue.millisecondsUntilNext(after), 1000);
    for (int i = 0; i < 3; ++i) {
        advance(1000);
        pass();
    }
    EXPECT_EQ(rec.fired.size(), 3u);
    queue.remove(p);
}

TEST_F(TimeoutQueueTest, ClockStepForwardMovesExpiriesBeyondFiveSecondsOnly)
{
    TestOneShot a(rec, 1), b(rec, 2);
    queue.schedule(a, 5000);
    queue.schedule(b, 9000);
    Timeval before = now();
    // Waited 1 s, but the clock jumped an hour: nothing becomes due.
    advance(3600 * 1000 + 1000);
    queue.correctForClockChange(before, now(), 1000);
    pass();
    EXPECT_TRUE(rec.fired.empty());
    EXPECT_EQ(queue.millisecondsUntilNext(now()), 4000);

    // A 4 s step is taken for a late wake-up: the timer fires early.
    before = now();
    advance(1000 + 4000);
    queue.correctForClockChange(before, now(), 1000);
    pass();
    EXPECT_EQ(rec.fired, std::vector<int>({1}));
    queue.remove(b);
}

TEST_F(TimeoutQueueTest, DrainOnStopRunsZeroDelayWorkOnly)
{
    TestOneShot zero(rec, 1), chained(rec, 2), delayed(rec, 3);
    zero.action = [&] { queue.schedule(chained, 0); };
    queue.schedule(zero, 0);
    queue.schedule(delayed, 100);
    queue.drainOnStop();
    EXPECT_EQ(rec.fired, std::vector<int>({1, 2}));
    EXPECT_TRUE(delayed.isScheduled());
    EXPECT_EQ(queue.size(), 1u);
    queue.remove(delayed);
}

TEST_F(TimeoutQueueTest, ThrowingCallbackLeavesTheOthersQueued)
{
    TestOneShot thrower(rec, 1), other(rec, 2);
    TestPeriodic periodic(rec, 3);
    thrower.action = [] { throw std::runtime_error("boom"); };
    queue.schedule(periodic, 5);
    queue.schedule(thrower, 10);
    queue.schedule(other, 20);
    EXPECT_THROW(pass(), std::runtime_error);
    EXPECT_EQ(rec.fired, std::vector<int>({3, 1}));
    // What hadn't fired is queued again, and the periodic one re-armed.
    EXPECT_TRUE(other.isScheduled());
    EXPECT_TRUE(periodic.isScheduled());
    EXPECT_EQ(queue.size(), 2u);
    pass();
    EXPECT_EQ(rec.fired, std::vector<int>({3, 1, 3, 2}));
    queue.remove(periodic);
}

}  // namespace
