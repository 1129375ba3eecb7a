#include "eventloop/Throttle.h"

Throttle* Throttle::none()
{
    static Throttle instance(0);
    return &instance;
}

Throttle* Throttle::gone()
{
    static Throttle instance(~0u);
    return &instance;
}

Throttleable::Throttleable() : throttle(Throttle::none()) {}

Throttleable::~Throttleable()
{
    setThrottle(nullptr);
}

void Throttleable::setThrottle(Throttle* to)
{
    if (!to) to = Throttle::none();
    if (to == throttle) return;
    if (!throttle->isStatic()) throttle->unlink(*this);
    throttle = to;
    if (!to->isStatic()) to->link(*this);
}

void Throttle::link(Throttleable& member)
{
    MutexLock lock(section);
    member.memberNext = membersHead;
    if (membersHead) membersHead->memberPrevLink = &member.memberNext;
    member.memberPrevLink = &membersHead;
    membersHead = &member;
}

void Throttle::unlink(Throttleable& member)
{
    MutexLock lock(section);
    *member.memberPrevLink = member.memberNext;
    if (member.memberNext) member.memberNext->memberPrevLink = member.memberPrevLink;
    member.memberPrevLink = nullptr;
    member.memberNext = nullptr;
    if (member.throttledPrevLink) {
        *member.throttledPrevLink = member.throttledNext;
        if (member.throttledNext) member.throttledNext->throttledPrevLink = member.throttledPrevLink;
        member.throttledPrevLink = nullptr;
        member.throttledNext = nullptr;
    }
    member.heldBits = 0;
}

Throttle::~Throttle()
{
    if (!isStatic()) unbindAll(none());
}

void Throttle::retire()
{
    if (!isStatic()) unbindAll(gone());
}

void Throttle::unbindAll(Throttle* to)
{
    release(~0u);
    MutexLock lock(section);
    while (Throttleable* member = membersHead) {
        membersHead = member->memberNext;
        member->memberPrevLink = nullptr;
        member->memberNext = nullptr;
        member->throttle = to;
    }
}

void Throttle::hold(std::uint32_t bits, std::uint32_t* refCounter)
{
    MutexLock lock(section);
    if ((*refCounter)++ == 0) activeBits.fetch_or(bits, std::memory_order_acq_rel);
}

void Throttle::release(std::uint32_t bits)
{
    MutexLock lock(section);
    Throttleable** link = &throttledHead;
    while (Throttleable* member = *link) {
        std::uint32_t freed = member->heldBits & bits;
        if (freed) {
            member->onThrottleRelease(freed);
            member->heldBits &= ~freed;
        }
        if (freed && !member->heldBits) {
            *link = member->throttledNext;
            if (member->throttledNext) member->throttledNext->throttledPrevLink = link;
            member->throttledPrevLink = nullptr;
            member->throttledNext = nullptr;
        } else {
            link = &member->throttledNext;
        }
    }
    activeBits.fetch_and(~bits, std::memory_order_acq_rel);
}

std::int64_t Throttle::admit(Throttleable& member, std::uint32_t pending, std::uint32_t wanted)
{
    if (this == none()) return -1;
    if (this == gone()) return 0;
    MutexLock lock(section);
    std::uint32_t active = activeBits.load(std::memory_order_acquire);
    if (!(active & pending)) return -1;
    if (!member.throttledPrevLink) {
        member.throttledNext = throttledHead;
        if (throttledHead) throttledHead->throttledPrevLink = &member.throttledNext;
        member.throttledPrevLink = &throttledHead;
        throttledHead = &member;
    }
    member.heldBits |= active & wanted;
    return ~active;
}
