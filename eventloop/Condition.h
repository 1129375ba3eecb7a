#pragma once

#include "eventloop/Mutex.h"
#include "platform/Threads.h"

#include <cstdint>

// A condition variable for several waiters. signal() wakes the newest
// waiter only; a signal or broadcast with nobody waiting is lost.
class Condition {
public:
    Condition();
    ~Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    // Releases mutex and waits as one step, then retakes mutex.
    void wait(Mutex& mutex);
    // True when woken, false when timed out; mutex is retaken either way.
    bool wait(Mutex& mutex, std::uint32_t timeoutMs);
    void signal();
    void broadcast();

private:
    // One per waiting thread; kept for reuse once its waiter has left.
    struct Node {
        platform::EventHandle event;
        Node* next;
        Node** backLink;
    };

    bool waitOn(Mutex& mutex, std::uint32_t timeoutMs);
    void recycle(Node* node, bool timedOut);

    // Newest first.
    Node* waiters = nullptr;
    Node* freeNodes = nullptr;
    Mutex section;
};
