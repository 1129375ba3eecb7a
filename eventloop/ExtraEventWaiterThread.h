#pragma once

// Waits on behalf of a loop for up to 63 more descriptors and reports to
// its parent's set through signalEvent. It only waits: the loop dispatches
// its set on the loop's own thread.
//
// The handshake: the loop touches the set only while the thread is idle.
// wake() lets it wait; collect() brings it back to idle, waking it through
// wakeEvent (entry 0 of its set) if it is still waiting.

#include "eventloop/Event.h"
#include "eventloop/EventSet.h"
#include "eventloop/Mutex.h"
#include "eventloop/Thread.h"

#include <cstdint>

class ExtraEventWaiterThread : public Thread {
public:
    // Starts the thread at once, idle.
    ExtraEventWaiterThread();
    // Quits and joins the thread.
    ~ExtraEventWaiterThread() override;

    void run() override;

private:
    friend class EventLoop;

    enum State : std::uint32_t { IDLE = 0, GO = 1, WAITING = 2, QUIT_REQUESTED = 3, QUIT_DONE = 4 };

    void wake();
    void collect();
    void quit();

    EventSet set;
    std::uint32_t subtreeCount = 0;
    platform::EventObject signalEvent;
    platform::EventObject wakeEvent;
    std::uint32_t state = IDLE;
    Mutex mutex;
    Event goEvent;
    Event doneEvent;
    EventSet* parentSet = nullptr;
    std::uint32_t indexInParent = 0;
    std::uint32_t readyIndex = 0;
    bool ended = false;
    ExtraEventWaiterThread* next = nullptr;
    ExtraEventWaiterThread** prevLink = nullptr;
};
