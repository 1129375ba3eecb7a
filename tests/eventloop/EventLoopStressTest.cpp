// Several threads submit actors, wake members and have descriptors added and
// removed across the 64-entry boundary while the loop runs. Bounded in count;
// run under ThreadSanitizer by CI.

#include "LoopTestSupport.h"

#include "eventloop/SelfPipe.h"

#include <gtest/gtest.h>

#include <memory>

using namespace looptest;

namespace {

class CountingPipe : public SelfPipe {
public:
    void onWakeup() override { wakeups++; }
    int wakeups = 0;  // loop's thread only
};

class CountingActor : public InThreadActor {
public:
    explicit CountingActor(std::atomic<int>* counter) : counter(counter) {}
    void run() override
    {
        counter->fetch_add(1);
        delete this;
    }
    std::atomic<int>* counter;
};

}  // namespace

TEST(EventLoopStress, ActorsAndMembershipChangesFromManyThreads)
{
    ensureMainThread();
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 150;
    constexpr std::size_t FDS = 160;

    EventLoop loop;
    std::vector<std::unique_ptr<BareFd>> fds;
    for (std::size_t i = 0; i < FDS; ++i) fds.push_back(std::make_unique<BareFd>());
    CountingPipe pipes[THREADS];

    int waitedRuns = 0;  // loop's thread only
    std::atomic<int> detachedRuns{0};
    LoopRunner runner(loop);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&, t] {
            loop.addMember(pipes[t]);
            for (int round = 0; round < ROUNDS; ++round) {
                runInLoop(loop, [&] { waitedRuns++; });
                loop.runInThread(new CountingActor(&detachedRuns), false);
                pipes[t].wake();
                // Each thread toggles its own slice of descriptors, 40 at a time.
                if (round % 10 == t) {
                    runInLoop(loop, [&, t] {
                        for (std::size_t i = t; i < FDS; i += THREADS) {
                            BareFd& f = *fds[i];
                            if (f.fd.isAdded())
                                loop.remove(f.fd);
                            else
                                loop.add(f.fd, f.descriptor);
                        }
                    });
                }
                fds[(round * 7 + t) % FDS]->signal();
            }
            loop.removeMember(pipes[t]);
        });
    }
    for (auto& th : threads) th.join();

    int seenRuns = 0;
    int wakeups = 0;
    runInLoop(loop, [&] {
        seenRuns = waitedRuns;
        for (auto& p : pipes) wakeups += p.wakeups;
    });
    EXPECT_EQ(THREADS * ROUNDS, seenRuns);
    EXPECT_GT(wakeups, 0);
    ASSERT_TRUE(eventually([&] { return detachedRuns == THREADS * ROUNDS; }));
    runner.stopAndJoin();
    for (auto& f : fds) loop.removeIfAdded(f->fd);
}
