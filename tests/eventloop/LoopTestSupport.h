#pragma once

// Members and helpers shared by the event loop tests.

#include "eventloop/EventLoop.h"
#include "eventloop/InThreadActor.h"
#include "eventloop/PollableDescriptor.h"
#include "eventloop/PolledFd.h"
#include "eventloop/Thread.h"
#include "platform/Threads.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace looptest {

// The one main object of the process, made on first use.
inline void ensureMainThread()
{
    static FakeMainThread* mainThread = new FakeMainThread;
    (void)mainThread;
}

// A member whose handler is a function. By default it resets a bare event
// (which nothing else resets) and counts the call.
class TestFd : public PolledFd {
public:
    using Handler = std::function<bool(TestFd&)>;

    TestFd() = default;
    explicit TestFd(Handler handler) : handler(std::move(handler)) {}

    bool handleEvents(PollableDescriptor* descriptor) override
    {
        lastPending = getPendingEvents();
        lastThread = platform::currentThreadId();
        if (descriptor->socket == platform::INVALID_SOCKET_VALUE) platform::resetEventObject(descriptor->event);
        bool removeMe = handler ? handler(*this) : false;
        // Last, so that a reader who sees the count also sees the rest.
        calls++;
        return removeMe;
    }

    void onRemoved(PollableDescriptor* descriptor) override
    {
        removedCalls++;
        PolledFd::onRemoved(descriptor);
    }

    Handler handler;
    std::atomic<int> calls{0};
    std::atomic<int> removedCalls{0};
    std::uint32_t lastPending = 0;
    std::uint32_t lastThread = 0;
};

// A bare event with its own member; the descriptor's creator reference is kept.
struct BareFd {
    PollableDescriptor* descriptor = new PollableDescriptor(platform::INVALID_SOCKET_VALUE);
    TestFd fd;

    BareFd() = default;
    explicit BareFd(TestFd::Handler handler) : fd(std::move(handler)) {}
    ~BareFd() { descriptor->release(); }
    void signal() { platform::setEventObject(descriptor->event); }
};

// Runs an actor body given as a function.
class FunctionActor : public InThreadActor {
public:
    explicit FunctionActor(std::function<void()> body) : body(std::move(body)) {}
    void run() override { body(); }

private:
    std::function<void()> body;
};

inline void runInLoop(EventLoop& loop, std::function<void()> body)
{
    FunctionActor actor(std::move(body));
    loop.runInThread(&actor);
}

// The loop's run() on a thread of its own.
class LoopRunner {
public:
    explicit LoopRunner(EventLoop& loop) : loop(loop)
    {
        thread = std::thread([this] {
            threadId = platform::currentThreadId();
            this->loop.run();
        });
        while (!this->loop.isRunning()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~LoopRunner() { stopAndJoin(); }
    void stopAndJoin()
    {
        if (!thread.joinable()) return;
        loop.stop();
        thread.join();
    }

    EventLoop& loop;
    std::thread thread;
    std::atomic<std::uint32_t> threadId{0};
};

// Polls `done` for up to ten seconds.
inline bool eventually(const std::function<bool()>& done)
{
    for (int i = 0; i < 10000; ++i) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return done();
}

}  // namespace looptest
