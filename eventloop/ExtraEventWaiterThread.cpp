#include "eventloop/ExtraEventWaiterThread.h"

#include "eventloop/EventLoop.h"
#include "eventloop/EventLoopException.h"

namespace {
platform::EventObject newEvent()
{
    platform::EventObject event = platform::createEventObject();
    if (!event) throwEventLoopException("couldn't WSACreateEvent", platform::lastSocketError());
    return event;
}
}  // namespace

ExtraEventWaiterThread::ExtraEventWaiterThread() : Thread("ExtraEventWaiter")
{
    signalEvent = newEvent();
    try {
        wakeEvent = newEvent();
    } catch (...) {
        platform::closeEventObject(signalEvent);
        throw;
    }
    set.owner = this;
    set.events[0] = wakeEvent;
    set.count = 1;
    start();
}

ExtraEventWaiterThread::~ExtraEventWaiterThread()
{
    quit();
    join();
    platform::closeEventObject(signalEvent);
    platform::closeEventObject(wakeEvent);
}

void ExtraEventWaiterThread::run()
{
    MutexLock lock(mutex);
    for (;;) {
        while (state == IDLE) goEvent.wait(mutex);
        if (state == QUIT_REQUESTED) {
            state = QUIT_DONE;
            doneEvent.signal();
            return;
        }
        state = WAITING;
        std::uint32_t r;
        {
            MutexUnlock unlock(mutex);
            r = EventLoop::prepareAndWait(set, platform::WAIT_INFINITE);
        }
        platform::resetEventObject(wakeEvent);
        bool failed = r >= EventSet::CAPACITY && r != platform::WAIT_TIMEOUT_RESULT;
        int error = platform::lastSocketError();
        readyIndex = r < EventSet::CAPACITY ? r : set.count;
        state = IDLE;
        platform::setEventObject(signalEvent);
        doneEvent.signal();
        if (failed) {
            ended = true;
            throwEventLoopException("error from EventLoop WSAWaitForMultipleEvents", error);
        }
    }
}

void ExtraEventWaiterThread::wake()
{
    MutexLock lock(mutex);
    state = GO;
    goEvent.signal();
}

void ExtraEventWaiterThread::collect()
{
    MutexLock lock(mutex);
    if (state == GO) {
        // It never got to wait: look at its set from here, or a busy loop
        // would starve the members behind it.
        state = IDLE;
        std::uint32_t r = platform::waitForEvents(set.count, set.events, 0);
        if (r >= EventSet::CAPACITY && r != platform::WAIT_TIMEOUT_RESULT)
            throwEventLoopException("error from EventLoop WSAWaitForMultipleEvents", platform::lastSocketError());
        readyIndex = r < EventSet::CAPACITY ? r : set.count;
        return;
    }
    if (state == WAITING) platform::setEventObject(wakeEvent);
    // Also absorbs a done signal left from a round the thread ended by itself.
    while (state != IDLE) doneEvent.wait(mutex);
}

void ExtraEventWaiterThread::quit()
{
    MutexLock lock(mutex);
    // A body that ended on a failed wait can't answer any more.
    if (state == QUIT_DONE || ended) return;
    while (state == WAITING) {
        platform::setEventObject(wakeEvent);
        doneEvent.wait(mutex);
    }
    state = QUIT_REQUESTED;
    goEvent.signal();
    while (state != QUIT_DONE) doneEvent.wait(mutex);
}
