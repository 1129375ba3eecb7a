#pragma once

// Loop members. A PolledFd is what the loop's event sets point at; the
// classes after it wrap one for objects that add and remove themselves.

#include "eventloop/Throttle.h"

#include <cstdint>

class EventLoop;
class ExtraEventWaiterThread;
class PollableDescriptor;
struct EventSet;

class PolledFd : public Throttleable {
public:
    PolledFd() = default;
    ~PolledFd() override;

    // Selects the wanted events plus `mask`; throws EventLoopException.
    virtual void addEvents(std::uint32_t mask);
    virtual std::uint32_t defaultEvents();
    // Puts the socket in non-blocking mode.
    virtual void onAdded();
    // Gets a descriptor reference that it must release.
    virtual void onRemoved(PollableDescriptor* descriptor);
    // Called on the loop's thread with the events in getPendingEvents();
    // true asks the loop to remove this member.
    virtual bool handleEvents(PollableDescriptor* descriptor) = 0;

    // Asks for the released events again and delivers them on the next
    // pass (a read that finds nothing gets "would block"). Loop members are
    // released from the loop's thread, since this selects.
    void onThrottleRelease(std::uint32_t bits) override;

    bool isAdded() const { return set != nullptr; }
    std::uint32_t getWantedEvents() const { return wantedEvents; }
    std::uint32_t getPendingEvents() const { return pendingEvents; }
    PollableDescriptor* getDescriptor() const { return descriptor; }

private:
    friend class EventLoop;
    friend class RemoveFdActor;

    EventSet* set = nullptr;
    std::uint32_t index = 0;
    std::uint32_t wantedEvents = 0;
    std::uint32_t pendingEvents = 0;
    PollableDescriptor* descriptor = nullptr;
};

// An object that puts itself into a loop and takes itself out.
class SmartEventLoopMember {
public:
    SmartEventLoopMember() = default;
    virtual ~SmartEventLoopMember();
    SmartEventLoopMember(const SmartEventLoopMember&) = delete;
    SmartEventLoopMember& operator=(const SmartEventLoopMember&) = delete;

    virtual void addToLoop(EventLoop& loop) = 0;
    virtual void removeFromLoop(EventLoop& loop) = 0;
};

// A member whose embedded PolledFd forwards to onActivity and onDetached.
class ProxyPolledFd : public SmartEventLoopMember {
public:
    ProxyPolledFd();
    ~ProxyPolledFd() override;

    void removeFromLoop(EventLoop& loop) override;
    // True asks the loop to remove this member.
    virtual bool onActivity() = 0;
    // The loop has let go of the member.
    virtual void onDetached();

protected:
    class proxy_polledfd : public PolledFd {
    public:
        explicit proxy_polledfd(ProxyPolledFd* owner) : owner(owner) {}
        bool handleEvents(PollableDescriptor* descriptor) override;
        void onRemoved(PollableDescriptor* descriptor) override;

    private:
        ProxyPolledFd* owner;
    };

    proxy_polledfd fd;
};

// A member over one event object (a descriptor that may have no socket).
class PolledWSAEvent : public ProxyPolledFd {
public:
    // Takes over the caller's reference to `descriptor`.
    explicit PolledWSAEvent(PollableDescriptor* descriptor);
    ~PolledWSAEvent() override;

    void addToLoop(EventLoop& loop) override;

protected:
    PollableDescriptor* descriptor;
};
