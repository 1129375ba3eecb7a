#pragma once

// A socket (or a bare event) with the event object that reports on it,
// shared by reference between a loop member and whoever reads or writes it.

#include "platform/EventObjects.h"

#include <atomic>
#include <cstdint>

class PollableDescriptor {
public:
    // What a descriptor owns: closed and deleted with the last reference.
    class Owner {
    public:
        virtual ~Owner();
        virtual void close() = 0;
    };

    // One reference, the caller's. A bare event (no socket) gets its event
    // object now, since nothing will select it.
    explicit PollableDescriptor(platform::Socket socket, Owner* owner = nullptr);
    // Takes over an event object made by the caller.
    PollableDescriptor(platform::Socket socket, platform::EventObject event, Owner* owner = nullptr);
    PollableDescriptor(const PollableDescriptor&) = delete;
    PollableDescriptor& operator=(const PollableDescriptor&) = delete;

    void addRef() { refCount.fetch_add(1, std::memory_order_relaxed); }
    // Destroys the descriptor with the last reference.
    void release();

    // Ties the socket's network events in `mask` to the event object, which
    // is created on first use. False with the socket error kept.
    bool select(std::uint32_t mask);
    // Throws PollableDescriptorException when the switch fails.
    void setNonBlocking();

    platform::Socket socket;
    platform::EventObject event = nullptr;
    Owner* owner;
    std::atomic<std::uint32_t> refCount{1};
    platform::NetworkEvents networkEvents;
    bool writable = false;

private:
    ~PollableDescriptor() = default;
    void createEvent();
};
