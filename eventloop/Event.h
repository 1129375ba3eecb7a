#pragma once

#include "eventloop/Mutex.h"
#include "platform/Threads.h"

#include <cstdint>

// An auto-reset event for one waiter: a signal with nobody waiting stays
// latched for the next wait. Used as a single-waiter condition variable.
class Event {
public:
    Event();
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void signal();
    // Releases mutex and waits as one step, then retakes mutex.
    void wait(Mutex& mutex);
    // As wait(mutex), at most timeoutMs; mutex is retaken also on timeout.
    // True when signalled, false when timed out.
    bool wait(Mutex& mutex, std::uint32_t timeoutMs);

    // The wait itself, for any auto-reset event handle (Condition's too).
    static bool releaseAndWait(platform::EventHandle event, Mutex& mutex, std::uint32_t timeoutMs);

private:
    platform::EventHandle handle;
};
