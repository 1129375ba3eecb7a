#include "eventloop/Mutex.h"
#include "eventloop/Thread.h"

#include <gtest/gtest.h>

namespace {

class Idle : public Thread {
public:
    Idle() : Thread("idle %d", 1) {}
    void run() override {}
};

// One test: each step leaves process-wide state behind for the next.
TEST(ThreadStartup, BeforeMainThenMainThenChecksOff)
{
    EXPECT_TRUE(isMainThread());
    EXPECT_EQ(threadCount(), 1u);
    try {
        Idle early;
        FAIL() << "built a thread before the main object";
    } catch (const ThreadException& e) {
        EXPECT_STREQ(e.what(), "Thread created before main thread!");
    }
    // The half-built object's count is not given back.
    EXPECT_EQ(threadCount(), 2u);
    EXPECT_TRUE(threadsWereCreated() == false);

    FakeMainThread mainThread;
    EXPECT_TRUE(isMainThread());
    EXPECT_THROW(FakeMainThread(), ThreadException);

    {
        Idle late;
        late.start();
        EXPECT_TRUE(late.join());
    }
    EXPECT_TRUE(threadsWereCreated());
    EXPECT_EQ(threadCount(), 2u);

    Mutex m;
    EXPECT_THROW(m.unlock(), ThreadException);
    disableThreadChecks();
    EXPECT_FALSE(threadChecksAreEnabled());
    EXPECT_NO_THROW(m.unlock());
    EXPECT_TRUE(checkWaitResult(false, platform::WAIT_TIMED_OUT, "WaitForSingleObject"));
}

}  // namespace
