#include "eventloop/InThreadActorQueue.h"

#include "platform/Threads.h"

InThreadActorQueue::ClaimHolder::~ClaimHolder()
{
    if (queue) queue->releaseClaim(*this);
}

bool InThreadActorQueue::claim(ClaimHolder& holder)
{
    std::uint32_t self = platform::currentThreadId();
    if (claimed) {
        if (claimOwner == self) return true;
        while (claimed) claimWaiters.wait(mutex);
        if (accepting) return false;
    }
    claimOwner = self;
    claimed = 1;
    holder.queue = this;
    return true;
}

void InThreadActorQueue::releaseClaim(ClaimHolder& holder)
{
    if (!holder.queue) return;
    holder.queue = nullptr;
    MutexLock lock(mutex);
    claimed = 0;
    claimOwner = 0;
    claimWaiters.broadcast();
    changed.signal();
}

void InThreadActorQueue::enqueue(InThreadActor* actor)
{
    actor->done = false;
    actor->next = nullptr;
    *tailLink = actor;
    tailLink = &actor->next;
    queued++;
}

void InThreadActorQueue::waitForCompletion(InThreadActor* actor)
{
    if (actor->done) return;
    syncWaiters++;
    while (!actor->done) actor->doneEvent.wait(mutex);
    if (--syncWaiters == 0 && !accepting) syncDrained.signal();
}

void InThreadActorQueue::waitForSyncWaiters()
{
    while (syncWaiters) syncDrained.wait(mutex);
}

InThreadActor* InThreadActorQueue::pop(bool* emptied)
{
    MutexLock lock(mutex);
    InThreadActor* actor = head;
    if (!actor) {
        *emptied = true;
        return nullptr;
    }
    head = actor->next;
    queued--;
    if (!head) {
        tailLink = &head;
        *emptied = true;
    }
    return actor;
}

std::uint32_t InThreadActorQueue::size()
{
    MutexLock lock(mutex);
    return queued;
}

void InThreadActorQueue::complete(InThreadActor* actor)
{
    // Read before run: an actor nobody waits for may delete itself.
    if (!actor->wantsDone) {
        actor->run();
        return;
    }
    struct Finish {
        InThreadActorQueue& queue;
        InThreadActor* actor;
        // Also when run throws, so that the submitter isn't left waiting.
        ~Finish()
        {
            MutexLock lock(queue.mutex);
            actor->done = true;
            actor->doneEvent.signal();
        }
    } finish{*this, actor};
    actor->run();
}

bool InThreadActorQueue::cancel(InThreadActor* actor)
{
    MutexLock lock(mutex);
    for (InThreadActor** link = &head; *link; link = &(*link)->next) {
        if (*link == actor) {
            *link = actor->next;
            if (tailLink == &actor->next) tailLink = link;
            queued--;
            return true;
        }
    }
    return false;
}
