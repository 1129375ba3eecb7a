#pragma once

// A condition that EventLoop::runUntil waits for while actors keep running.
class RunInThreadWorkUntilPredicate {
public:
    virtual ~RunInThreadWorkUntilPredicate() = default;
    virtual bool check() = 0;
};

class RunInThreadWorkUntilPredicate_unsignedIsZero : public RunInThreadWorkUntilPredicate {
public:
    explicit RunInThreadWorkUntilPredicate_unsignedIsZero(unsigned* value) : value(value) {}
    bool check() override { return *value == 0; }

private:
    unsigned* value;
};
