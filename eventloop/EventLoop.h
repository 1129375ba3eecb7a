#pragma once

// Multiplexes timers and event objects on one thread. One wait takes at most
// 64 event objects, so past that the loop grows a tree of waiter threads,
// each waiting for up to 63 descriptors and reporting through one event in
// its parent's set. Callbacks always run on the loop's thread.
//
// The loop is itself the timer queue: schedule and remove timers on it from
// the loop's thread (or before run). Other threads reach the loop only
// through runInThread and the calls built on it (stop, addMember,
// removeMember, removeTimeoutFromAnywhere).

#include "eventloop/EventSet.h"
#include "eventloop/InThreadActorQueue.h"
#include "eventloop/RunInThreadWorkUntilPredicate.h"
#include "eventloop/Timeout.h"

#include <cstdint>

class ExtraEventWaiterThread;
class InThreadActor;
class InThreadActorNotify;
class PollableDescriptor;
class PolledFd;
class SmartEventLoopMember;

class EventLoop : public TimeoutQueue {
public:
    explicit EventLoop(const IClock* clock = nullptr);
    // Quits the waiter threads. The loop must not be running.
    ~EventLoop();

    // Loop's thread, or any thread while the loop isn't running (and nobody
    // holds a claim). Takes a reference to `descriptor` for the loop.
    void add(PolledFd& fd, PollableDescriptor* descriptor, std::uint32_t mask);
    void add(PolledFd& fd, PollableDescriptor* descriptor);
    void remove(PolledFd& fd);
    void removeIfAdded(PolledFd& fd);
    // Timers: schedule, reschedule and remove as on any TimeoutQueue.
    using TimeoutQueue::remove;

    // Blocks until stopped. Exceptions from callbacks and actors leave it.
    void run();
    // Any thread; from the loop's own thread it takes effect at once. A stop
    // before run makes run return at once.
    void stop();

    // Runs `actor` on the loop's thread, or in the caller's thread while the
    // loop isn't running. With wait false a queued actor may delete itself
    // in run().
    void runInThread(InThreadActor* actor, bool wait = true);
    // As runInThread, but runs nothing and answers false when the loop isn't
    // running.
    bool tryRunInThread(InThreadActor* actor);

    void addMember(SmartEventLoopMember& member);
    void removeMember(SmartEventLoopMember& member);
    void removeTimeoutFromAnywhere(Timeout& timeout);

    // Loop's thread, from an actor: asks for one more handleEvents on `fd`
    // once the actor has finished. False when `fd` isn't in the loop.
    bool requestHandleEvents(PolledFd& fd);

    // Returns once predicate.check() holds, running actors meanwhile when
    // called on the running loop's thread; otherwise waits for claims to end.
    void runUntil(RunInThreadWorkUntilPredicate& predicate);
    void runUntilZero(unsigned* value);

    bool isRunning();

private:
    friend class ExtraEventWaiterThread;
    friend class InThreadActorNotify;

    struct WaiterList {
        ExtraEventWaiterThread* head = nullptr;
    };

    static std::uint32_t prepareAndWait(EventSet& set, std::uint32_t timeoutMs);
    static void setEntry(EventSet& set, std::uint32_t index, platform::EventObject event, EventSet::Slot slot);
    static void moveEntry(EventSet& set, std::uint32_t from, std::uint32_t to);

    void runLoop(Timeval& now);
    void finishRun(InThreadActorQueue::ClaimHolder& holder);
    bool submit(InThreadActor* actor, bool wait, bool inlineWhenStopped);
    // Runs at most `limit` queued actors: what comes in meanwhile waits for
    // the next pass, so a stream of actors can't starve the other members.
    void drainActors(std::uint32_t limit);
    void wakeWaiters();
    void collectWaiters();
    bool pollAfterChange(std::uint32_t* start);
    bool dispatchSet(EventSet& set, std::uint32_t start, bool recurse);
    bool deliver(PolledFd& fd, PollableDescriptor* descriptor);
    void rotate(EventSet& set, std::uint32_t index);

    EventSet& chooseSet();
    ExtraEventWaiterThread* attachWaiter();
    void removeEntry(EventSet& set, std::uint32_t index);
    static void pushWaiter(WaiterList& list, ExtraEventWaiterThread* waiter);
    static void unlinkWaiter(ExtraEventWaiterThread* waiter);
    bool hasWaiters() const { return waitersWithRoom.head || waitersFull.head; }

    bool stopRequested = false;
    EventSet set;
    WaiterList waitersWithRoom;
    WaiterList waitersFull;
    WaiterList waitersIdle;
    PolledFd* pendingFd = nullptr;
    std::uint32_t generation = 0;
    InThreadActorNotify* notify = nullptr;
    std::uint32_t threadId = 0;
    InThreadActorQueue actors;
};
