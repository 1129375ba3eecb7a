#pragma once

// The queue of actors waiting for a loop's thread. Any thread fills it; the
// loop's thread drains it. While the loop isn't running, a submitter takes a
// claim on the queue instead and runs its actor itself: the claim keeps
// every other submitter, and the loop's start and end, out meanwhile.
//
// The mutex is never held while an actor runs.

#include "eventloop/Condition.h"
#include "eventloop/Event.h"
#include "eventloop/InThreadActor.h"
#include "eventloop/Mutex.h"

#include <cstdint>

class InThreadActorQueue {
public:
    // Filled by a claim that this caller took (not by a re-entrant one);
    // releases it when it goes out of scope.
    class ClaimHolder {
    public:
        ClaimHolder() = default;
        ~ClaimHolder();
        ClaimHolder(const ClaimHolder&) = delete;
        ClaimHolder& operator=(const ClaimHolder&) = delete;

    private:
        friend class InThreadActorQueue;
        InThreadActorQueue* queue = nullptr;
    };

    InThreadActorQueue() = default;
    InThreadActorQueue(const InThreadActorQueue&) = delete;
    InThreadActorQueue& operator=(const InThreadActorQueue&) = delete;

    // Mutex held by the caller. Waits for another thread's claim to end;
    // false if the loop is accepting actors by then.
    bool claim(ClaimHolder& holder);
    void releaseClaim(ClaimHolder& holder);

    // Mutex held by the caller.
    void enqueue(InThreadActor* actor);
    void waitForCompletion(InThreadActor* actor);
    void waitForSyncWaiters();

    // Take the mutex themselves.
    InThreadActor* pop(bool* emptied);
    std::uint32_t size();
    void complete(InThreadActor* actor);
    bool cancel(InThreadActor* actor);

    Mutex mutex;

private:
    friend class EventLoop;

    InThreadActor* head = nullptr;
    InThreadActor** tailLink = &head;
    std::uint32_t queued = 0;
    bool accepting = false;
    std::uint32_t claimOwner = 0;
    std::uint32_t claimed = 0;
    Condition claimWaiters;
    Event changed;
    std::uint32_t syncWaiters = 0;
    Event syncDrained;
};
