#pragma once

#include "eventloop/SelfPipe.h"

class EventLoop;

// The loop's own wake-up: set by submitters, it runs the queued actors on
// the loop's thread. Lives on the stack of EventLoop::run.
class InThreadActorNotify : public SelfPipe {
public:
    explicit InThreadActorNotify(EventLoop& loop);
    ~InThreadActorNotify() override;

    void onWakeup() override;

private:
    EventLoop& loop;
};
