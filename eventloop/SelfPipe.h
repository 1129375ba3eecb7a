#pragma once

// A bare event object in a loop that any thread can set to wake the loop's
// thread. It stays in the loop after each wake-up.

#include "eventloop/PolledFd.h"

class SelfPipe : public PolledWSAEvent {
public:
    // Throws SelfPipeException when no event object can be made.
    SelfPipe();

    // Any thread.
    void wake();
    // Waits for the event without a time limit, then handles it; lets the
    // loop's thread wait for actors outside the loop's own wait.
    void blockAndHandle();

    bool onActivity() override;
    virtual void onWakeup() = 0;
};
