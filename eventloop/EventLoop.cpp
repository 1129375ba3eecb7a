#include "eventloop/EventLoop.h"

#include "eventloop/EventLoopException.h"
#include "eventloop/ExtraEventWaiterThread.h"
#include "eventloop/InThreadActor.h"
#include "eventloop/InThreadActorNotify.h"
#include "eventloop/PollableDescriptor.h"
#include "eventloop/PolledFd.h"
#include "platform/Threads.h"

namespace {

constexpr std::uint32_t CAPACITY = EventSet::CAPACITY;
constexpr std::uint32_t WRITE_OR_CLOSE = platform::NET_WRITE | platform::NET_CLOSE;

std::uint32_t checkedWait(std::uint32_t count, const platform::EventObject* events, std::uint32_t timeoutMs)
{
    std::uint32_t r = platform::waitForEvents(count, events, timeoutMs);
    if (r >= CAPACITY && r != platform::WAIT_TIMEOUT_RESULT)
        throwEventLoopException("error from EventLoop WSAWaitForMultipleEvents", platform::lastSocketError());
    return r;
}

}  // namespace

EventLoop::EventLoop(const IClock* clock) : TimeoutQueue(clock) {}

EventLoop::~EventLoop()
{
    for (WaiterList* list : {&waitersFull, &waitersWithRoom, &waitersIdle}) {
        while (ExtraEventWaiterThread* waiter = list->head) {
            unlinkWaiter(waiter);
            delete waiter;
        }
    }
}

// --- members -----------------------------------------------------------

void EventLoop::add(PolledFd& fd, PollableDescriptor* descriptor)
{
    add(fd, descriptor, fd.defaultEvents());
}

void EventLoop::add(PolledFd& fd, PollableDescriptor* descriptor, std::uint32_t mask)
{
    generation++;
    descriptor->addRef();
    fd.descriptor = descriptor;
    fd.wantedEvents = mask;
    fd.pendingEvents = 0;
    if (descriptor->socket != platform::INVALID_SOCKET_VALUE && !descriptor->select(mask)) {
        int error = platform::lastSocketError();
        fd.descriptor = nullptr;
        descriptor->release();
        throwEventLoopException("couldn't select events for new PolledFd", error);
    }
    EventSet& target = chooseSet();
    std::uint32_t index = target.count++;
    if (index > 0 && target.slots[index - 1].isBlank()) {
        // The blank stays last.
        moveEntry(target, index - 1, index);
        index--;
    }
    setEntry(target, index, descriptor->event, EventSet::Slot{nullptr, &fd});
    fd.onAdded();
}

void EventLoop::removeIfAdded(PolledFd& fd)
{
    if (fd.set) remove(fd);
}

void EventLoop::remove(PolledFd& fd)
{
    generation++;
    EventSet& from = *fd.set;
    fd.set = nullptr;
    if (pendingFd == &fd) pendingFd = nullptr;
    removeEntry(from, fd.index);
    PollableDescriptor* descriptor = fd.descriptor;
    fd.descriptor = nullptr;
    descriptor->release();
}

EventSet& EventLoop::chooseSet()
{
    if (set.count < CAPACITY) return set;
    if (ExtraEventWaiterThread* waiter = waitersWithRoom.head) {
        if (waiter->set.count == CAPACITY - 1) {
            unlinkWaiter(waiter);
            pushWaiter(waitersFull, waiter);
        }
        return waiter->set;
    }
    ExtraEventWaiterThread* waiter = attachWaiter();
    pushWaiter(waitersWithRoom, waiter);
    return waiter->set;
}

// Every set is full: a waiter thread takes the place of the first fd found,
// searching down the lightest subtrees, and that fd moves into it.
ExtraEventWaiterThread* EventLoop::attachWaiter()
{
    ExtraEventWaiterThread* waiter = waitersIdle.head;
    if (waiter)
        unlinkWaiter(waiter);
    else
        waiter = new ExtraEventWaiterThread;

    EventSet* parent = &set;
    std::uint32_t at = CAPACITY;
    for (;;) {
        ExtraEventWaiterThread* lightest = nullptr;
        for (std::uint32_t i = 0; i < parent->count; ++i) {
            const EventSet::Slot& slot = parent->slots[i];
            if (slot.fd) {
                at = i;
                break;
            }
            if (slot.child && (!lightest || slot.child->subtreeCount < lightest->subtreeCount)) lightest = slot.child;
        }
        if (at < CAPACITY || !lightest) break;
        parent = &lightest->set;
    }

    PolledFd* moved = parent->slots[at].fd;
    setEntry(waiter->set, 1, parent->events[at], EventSet::Slot{nullptr, moved});
    waiter->set.count = 2;
    setEntry(*parent, at, waiter->signalEvent, EventSet::Slot{waiter, nullptr});
    waiter->subtreeCount = 0;
    for (ExtraEventWaiterThread* up = parent->owner; up; up = up->parentSet->owner) up->subtreeCount++;
    return waiter;
}

void EventLoop::removeEntry(EventSet& from, std::uint32_t index)
{
    EventSet* s = &from;
    for (;;) {
        std::uint32_t last = --s->count;
        if (index != last) {
            if (s->slots[last].isBlank()) {
                // The entry before the blank fills the hole; the blank moves down.
                if (index != last - 1) moveEntry(*s, last - 1, index);
                moveEntry(*s, last, last - 1);
            } else {
                moveEntry(*s, last, index);
            }
        }
        s->events[last] = nullptr;
        s->slots[last] = EventSet::Slot{};

        ExtraEventWaiterThread* waiter = s->owner;
        if (!waiter) return;
        if (s->count > 1) {
            if (s->count == CAPACITY - 1) {
                unlinkWaiter(waiter);
                pushWaiter(waitersWithRoom, waiter);
            }
            return;
        }
        // Only its wake event is left: park it and take back its parent's entry.
        unlinkWaiter(waiter);
        pushWaiter(waitersIdle, waiter);
        platform::resetEventObject(waiter->signalEvent);
        for (ExtraEventWaiterThread* up = waiter->parentSet->owner; up; up = up->parentSet->owner)
            up->subtreeCount--;
        s = waiter->parentSet;
        index = waiter->indexInParent;
        waiter->parentSet = nullptr;
    }
}

void EventLoop::setEntry(EventSet& s, std::uint32_t index, platform::EventObject event, EventSet::Slot slot)
{
    s.events[index] = event;
    s.slots[index] = slot;
    if (slot.fd) {
        slot.fd->set = &s;
        slot.fd->index = index;
    } else if (slot.child) {
        slot.child->parentSet = &s;
        slot.child->indexInParent = index;
    }
}

void EventLoop::moveEntry(EventSet& s, std::uint32_t from, std::uint32_t to)
{
    setEntry(s, to, s.events[from], s.slots[from]);
}

void EventLoop::pushWaiter(WaiterList& list, ExtraEventWaiterThread* waiter)
{
    waiter->next = list.head;
    if (list.head) list.head->prevLink = &waiter->next;
    waiter->prevLink = &list.head;
    list.head = waiter;
}

void EventLoop::unlinkWaiter(ExtraEventWaiterThread* waiter)
{
    *waiter->prevLink = waiter->next;
    if (waiter->next) waiter->next->prevLink = waiter->prevLink;
    waiter->next = nullptr;
    waiter->prevLink = nullptr;
}

// --- waiting and dispatch ----------------------------------------------

std::uint32_t EventLoop::prepareAndWait(EventSet& s, std::uint32_t timeoutMs)
{
    // Write readiness is told once; re-raise what is already known.
    for (std::uint32_t i = 0; i < s.count; ++i) {
        PolledFd* fd = s.slots[i].fd;
        if (fd && (fd->wantedEvents & WRITE_OR_CLOSE) == WRITE_OR_CLOSE &&
            fd->descriptor->socket != platform::INVALID_SOCKET_VALUE && fd->descriptor->writable)
            platform::setEventObject(s.events[i]);
    }
    return platform::waitForEvents(s.count, s.events, timeoutMs);
}

void EventLoop::wakeWaiters()
{
    for (ExtraEventWaiterThread* w = waitersFull.head; w; w = w->next) w->wake();
    for (ExtraEventWaiterThread* w = waitersWithRoom.head; w; w = w->next) w->wake();
}

void EventLoop::collectWaiters()
{
    for (ExtraEventWaiterThread* w = waitersFull.head; w; w = w->next) w->collect();
    for (ExtraEventWaiterThread* w = waitersWithRoom.head; w; w = w->next) w->collect();
}

void EventLoop::runLoop(Timeval& now)
{
    std::int32_t timeout = -1;
    bool timers = true;
    for (;;) {
        if (timers) {
            if (stopRequested) return;
            fireDue(now);
            if (stopRequested) return;
            timeout = millisecondsUntilNext(now);
        }
        timers = true;

        wakeWaiters();
        std::uint32_t r =
            prepareAndWait(set, timeout < 0 ? platform::WAIT_INFINITE : static_cast<std::uint32_t>(timeout));
        int error = platform::lastSocketError();
        collectWaiters();
        if (r >= CAPACITY) {
            if (r != platform::WAIT_TIMEOUT_RESULT)
                throwEventLoopException("error from EventLoop WSAWaitForMultipleEvents", error);
            if (timeout == 0) continue;
        }
        if (timeout >= 0) {
            Timeval later = clockNow();
            correctForClockChange(now, later, static_cast<std::uint64_t>(timeout));
            if (r == platform::WAIT_TIMEOUT_RESULT && !hasWaiters()) {
                now = later;
                continue;
            }
        }
        if (r == platform::WAIT_TIMEOUT_RESULT) r = set.count;

        bool settled = dispatchSet(set, r, hasWaiters());
        while (!settled) {
            std::uint32_t start;
            if (!pollAfterChange(&start)) break;
            settled = dispatchSet(set, start, hasWaiters());
        }

        if (!empty()) {
            now = clockNow();
            continue;
        }
        if (stopRequested) return;
        timeout = -1;
        timers = false;
    }
}

bool EventLoop::pollAfterChange(std::uint32_t* start)
{
    bool ready = false;
    std::uint32_t r = checkedWait(set.count, set.events, 0);
    *start = r < CAPACITY ? r : set.count;
    ready = r < CAPACITY;
    for (ExtraEventWaiterThread* list : {waitersFull.head, waitersWithRoom.head}) {
        for (ExtraEventWaiterThread* w = list; w; w = w->next) {
            std::uint32_t wr = checkedWait(w->set.count, w->set.events, 0);
            w->readyIndex = wr < CAPACITY ? wr : w->set.count;
            ready = ready || wr < CAPACITY;
        }
    }
    return ready;
}

bool EventLoop::dispatchSet(EventSet& s, std::uint32_t start, bool recurse)
{
    const std::uint32_t g = generation;
    for (std::uint32_t i = start; i < s.count;) {
        if (PolledFd* fdp = s.slots[i].fd) {
            PolledFd& fd = *fdp;
            PollableDescriptor* d = fd.descriptor;
            // A bare event has nothing to enumerate; don't ask, some stacks answer anyway.
            if (d->socket != platform::INVALID_SOCKET_VALUE &&
                platform::enumNetworkEvents(d->socket, s.events[i], &d->networkEvents)) {
                fd.pendingEvents |= d->networkEvents.events;
                if ((fd.wantedEvents & WRITE_OR_CLOSE) && d->writable && d->socket != platform::INVALID_SOCKET_VALUE)
                    fd.pendingEvents |= platform::NET_WRITE;
            } else {
                // A bare event reads as readable.
                fd.pendingEvents = fd.wantedEvents & (platform::NET_READ | platform::NET_WRITE);
                d->networkEvents = platform::NetworkEvents{};
            }
            if (fd.wantedEvents & fd.pendingEvents) {
                d->addRef();
                bool removeIt;
                try {
                    removeIt = deliver(fd, d);
                } catch (...) {
                    d->release();
                    throw;
                }
                d->networkEvents = platform::NetworkEvents{};
                if (removeIt) {
                    if (fd.set) {
                        d->addRef();
                        remove(fd);
                        fd.onRemoved(d);
                    }
                    d->release();
                    return false;
                }
                fd.pendingEvents &= platform::NET_CLOSE;
                // A close that came with other events is seen on a later pass.
                if (fd.pendingEvents && fd.set == &s && fd.index == i) platform::setEventObject(s.events[i]);
                d->release();
            } else {
                d->networkEvents = platform::NetworkEvents{};
            }
            if (generation != g) return false;
        } else {
            platform::resetEventObject(s.events[i]);
        }

        std::uint32_t n = i + 1;
        if (n >= s.count) break;
        std::uint32_t r = checkedWait(s.count - n, &s.events[n], 0);
        if (r == platform::WAIT_TIMEOUT_RESULT) break;
        i = n + r;
    }
    if (start < s.count && s.slots[start].fd) rotate(s, start);
    if (recurse) {
        for (std::uint32_t k = 0; k < s.count; ++k) {
            ExtraEventWaiterThread* child = s.slots[k].child;
            if (child && !dispatchSet(child->set, child->readyIndex, child->subtreeCount != 0)) return false;
        }
    }
    return true;
}

bool EventLoop::deliver(PolledFd& fd, PollableDescriptor* descriptor)
{
    Throttle* throttle = fd.getThrottle();
    if (throttle->getActiveBits()) {
        std::int64_t answer = throttle->admit(fd, fd.pendingEvents, fd.wantedEvents);
        if (answer != -1) {
            std::uint32_t allowed = static_cast<std::uint32_t>(answer);
            if (descriptor->socket != platform::INVALID_SOCKET_VALUE &&
                !descriptor->select(allowed & fd.wantedEvents))
                throwEventLoopException("couldn't select events for existing PolledFd", platform::lastSocketError());
            fd.wantedEvents &= allowed;
            fd.pendingEvents &= allowed;
            if (!fd.pendingEvents) return false;
        }
    }
    return fd.handleEvents(descriptor);
}

// Fairness: the wait reports the lowest ready index, so the entry served
// first goes to the end and can't starve those behind it.
void EventLoop::rotate(EventSet& s, std::uint32_t index)
{
    if (s.count == 0) return;
    std::uint32_t last = s.count - 1;
    if (s.slots[last].isBlank()) {
        if (last == 0) return;
        last--;
    }
    if (index >= last) return;
    platform::EventObject event = s.events[index];
    EventSet::Slot slot = s.slots[index];
    moveEntry(s, last, index);
    setEntry(s, last, event, slot);
}

// --- running -------------------------------------------------------------

void EventLoop::run()
{
    InThreadActorQueue::ClaimHolder holder;
    {
        MutexLock lock(actors.mutex);
        actors.claim(holder);
    }
    {
        InThreadActorNotify own(*this);
        {
            MutexLock lock(actors.mutex);
            threadId = platform::currentThreadId();
            notify = &own;
            actors.accepting = true;
        }
        actors.releaseClaim(holder);
        try {
            Timeval now = clockNow();
            runLoop(now);
        } catch (...) {
            // Leave the queue usable: submitters run inline from now on.
            MutexLock lock(actors.mutex);
            notify = nullptr;
            actors.accepting = false;
            actors.claim(holder);
            throw;
        }
        finishRun(holder);
    }
    actors.releaseClaim(holder);
}

void EventLoop::finishRun(InThreadActorQueue::ClaimHolder& holder)
{
    {
        MutexLock lock(actors.mutex);
        notify = nullptr;
        actors.accepting = false;
        actors.claim(holder);
    }
    // Work queued before the end still runs here, so nobody waits for ever.
    drainActors(~0u);
    {
        MutexLock lock(actors.mutex);
        actors.waitForSyncWaiters();
    }
    drainOnStop();
}

void EventLoop::drainActors(std::uint32_t limit)
{
    for (std::uint32_t n = 0; n < limit; ++n) {
        bool emptied = false;
        InThreadActor* actor = actors.pop(&emptied);
        if (!actor) return;
        actors.complete(actor);
        if (PolledFd* fd = pendingFd) {
            pendingFd = nullptr;
            PollableDescriptor* d = fd->descriptor;
            d->addRef();
            if (fd->handleEvents(d)) {
                removeIfAdded(*fd);
                fd->onRemoved(d);
            } else {
                d->release();
            }
        }
        if (emptied) return;
    }
}

void EventLoop::stop()
{
    SetBooleanFlagActor actor(&stopRequested);
    runInThread(&actor, true);
}

bool EventLoop::isRunning()
{
    MutexLock lock(actors.mutex);
    return notify != nullptr;
}

void EventLoop::runInThread(InThreadActor* actor, bool wait)
{
    submit(actor, wait, true);
}

bool EventLoop::tryRunInThread(InThreadActor* actor)
{
    return submit(actor, true, false);
}

bool EventLoop::submit(InThreadActor* actor, bool wait, bool inlineWhenStopped)
{
    actors.mutex.lock();
    actor->wantsDone = wait;
    if (notify && threadId == platform::currentThreadId()) {
        actors.mutex.unlock();
        actor->run();
        return true;
    }
    if (!notify) {
        if (!inlineWhenStopped) {
            actors.mutex.unlock();
            return false;
        }
        InThreadActorQueue::ClaimHolder holder;
        if (actors.claim(holder)) {
            // The claim keeps the loop's thread out while this one works.
            actors.mutex.unlock();
            actor->run();
            return true;
        }
    }
    actors.enqueue(actor);
    notify->wake();
    if (wait) actors.waitForCompletion(actor);
    actors.mutex.unlock();
    return true;
}

void EventLoop::addMember(SmartEventLoopMember& member)
{
    AddSelmActor actor(*this, member);
    runInThread(&actor);
}

void EventLoop::removeMember(SmartEventLoopMember& member)
{
    RemoveSelmActor actor(*this, member);
    runInThread(&actor);
}

void EventLoop::removeTimeoutFromAnywhere(Timeout& timeout)
{
    RemoveTimeoutFromAnywhereActor actor(*this, timeout);
    runInThread(&actor);
}

bool EventLoop::requestHandleEvents(PolledFd& fd)
{
    if (!fd.set) return false;
    pendingFd = &fd;
    return true;
}

void EventLoop::runUntil(RunInThreadWorkUntilPredicate& predicate)
{
    actors.mutex.lock();
    if (!actors.accepting) {
        // Checked only while no other thread runs an actor under a claim.
        std::uint32_t self = platform::currentThreadId();
        while ((actors.claimed && actors.claimOwner != self) || !predicate.check())
            actors.changed.wait(actors.mutex);
        actors.mutex.unlock();
        return;
    }
    InThreadActorNotify* own = notify;
    actors.mutex.unlock();
    // The caller is the loop's thread: keep running actors while waiting.
    while (!predicate.check()) own->blockAndHandle();
}

void EventLoop::runUntilZero(unsigned* value)
{
    RunInThreadWorkUntilPredicate_unsignedIsZero predicate(value);
    runUntil(predicate);
}
