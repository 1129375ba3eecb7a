#pragma once

// Work handed to a loop's thread. An actor usually lives on the submitter's
// stack, which is why submission normally waits for it to finish.

#include "eventloop/Event.h"

class EventLoop;
class PollableDescriptor;
class PolledFd;
class SmartEventLoopMember;
class Timeout;
class TimeoutQueue;

class InThreadActor {
public:
    InThreadActor() = default;
    virtual ~InThreadActor();
    InThreadActor(const InThreadActor&) = delete;
    InThreadActor& operator=(const InThreadActor&) = delete;

    virtual void run() = 0;

private:
    friend class InThreadActorQueue;
    friend class EventLoop;

    bool wantsDone = false;
    Event doneEvent;
    bool done = false;
    InThreadActor* next = nullptr;
};

class SetBooleanFlagActor : public InThreadActor {
public:
    explicit SetBooleanFlagActor(bool* flag) : flag(flag) {}
    void run() override;

private:
    bool* flag;
};

class AddSelmActor : public InThreadActor {
public:
    AddSelmActor(EventLoop& loop, SmartEventLoopMember& member) : loop(loop), member(member) {}
    void run() override;

private:
    EventLoop& loop;
    SmartEventLoopMember& member;
};

class RemoveSelmActor : public InThreadActor {
public:
    RemoveSelmActor(EventLoop& loop, SmartEventLoopMember& member) : loop(loop), member(member) {}
    void run() override;

private:
    EventLoop& loop;
    SmartEventLoopMember& member;
};

class RemoveTimeoutFromAnywhereActor : public InThreadActor {
public:
    RemoveTimeoutFromAnywhereActor(TimeoutQueue& queue, Timeout& timeout) : queue(queue), timeout(timeout) {}
    void run() override;

private:
    TimeoutQueue& queue;
    Timeout& timeout;
};

// Takes an fd out of its loop on the loop's thread, then hands the fd and a
// reference to its descriptor to the owner, in that order.
class RemoveFdActor : public InThreadActor {
public:
    class Target {
    public:
        virtual ~Target();
        // The reference to `descriptor` is the callee's to release.
        virtual void fdRemoved(PolledFd& fd, PollableDescriptor* descriptor) = 0;
    };

    RemoveFdActor(EventLoop& loop, Target& target, PolledFd& fd, PollableDescriptor* descriptor)
        : loop(loop), target(target), fd(fd), descriptor(descriptor)
    {
    }
    void run() override;

private:
    EventLoop& loop;
    Target& target;
    PolledFd& fd;
    PollableDescriptor* descriptor;
};
