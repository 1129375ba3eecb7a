#pragma once

#include "platform/EventObjects.h"

#include <cstdint>

class ExtraEventWaiterThread;
class PolledFd;

// The unit of waiting: up to 64 event objects, each with what handles it.
// events and slots are parallel so that the wait gets its array as it is.
// A slot names a member fd or a child waiter thread, or neither (a blank:
// the waiter thread's own wake event, only ever first or last).
struct EventSet {
    static constexpr std::uint32_t CAPACITY = platform::MAX_WAIT_EVENTS;

    struct Slot {
        ExtraEventWaiterThread* child = nullptr;
        PolledFd* fd = nullptr;
        bool isBlank() const { return !child && !fd; }
    };

    std::uint32_t count = 0;
    // Null in the loop's own set.
    ExtraEventWaiterThread* owner = nullptr;
    platform::EventObject events[CAPACITY] = {};
    Slot slots[CAPACITY];
};
