#pragma once

// Holding back some network events of a group of loop members, for instance
// reads while a consumer catches up. A member bound to a throttle whose
// active bits cover its pending events stops asking for them until release.

#include "eventloop/Mutex.h"

#include <atomic>
#include <cstdint>

class Throttle;

class Throttleable {
public:
    Throttleable();
    virtual ~Throttleable();
    Throttleable(const Throttleable&) = delete;
    Throttleable& operator=(const Throttleable&) = delete;

    // The throttle let go of `bits` that this member was held back from.
    virtual void onThrottleRelease(std::uint32_t bits) = 0;

    // Null binds to no throttle.
    void setThrottle(Throttle* throttle);
    Throttle* getThrottle() const { return throttle; }
    std::uint32_t getHeldBits() const { return heldBits; }

private:
    friend class Throttle;

    std::uint32_t heldBits = 0;
    Throttle* throttle;
    Throttleable** memberPrevLink = nullptr;
    Throttleable* memberNext = nullptr;
    Throttleable** throttledPrevLink = nullptr;
    Throttleable* throttledNext = nullptr;
};

class Throttle {
public:
    // Bound by default: holds nothing back.
    static Throttle* none();
    // Bound after retire(): lets nothing through.
    static Throttle* gone();

    Throttle() = default;
    // Releases everything and rebinds the members to none().
    ~Throttle();
    Throttle(const Throttle&) = delete;
    Throttle& operator=(const Throttle&) = delete;

    // Releases everything and rebinds the members to gone().
    void retire();

    // Starts holding back `bits` on the first reference counted in *refCounter.
    void hold(std::uint32_t bits, std::uint32_t* refCounter);
    // Tells every held member about `bits` it was held back from, then stops
    // holding them back.
    void release(std::uint32_t bits);

    std::uint32_t getActiveBits() const { return activeBits.load(std::memory_order_acquire); }

    // Asked by the loop before delivering `pending` to a member that wants
    // `wanted`: -1 delivers as usual, otherwise the bits the member may keep.
    std::int64_t admit(Throttleable& member, std::uint32_t pending, std::uint32_t wanted);

private:
    friend class Throttleable;

    explicit Throttle(std::uint32_t bits) : activeBits(bits) {}
    bool isStatic() const { return this == none() || this == gone(); }
    void link(Throttleable& member);
    void unlink(Throttleable& member);
    void unbindAll(Throttle* to);

    Throttleable* membersHead = nullptr;
    Throttleable* throttledHead = nullptr;
    std::atomic<std::uint32_t> activeBits{0};
    Mutex section;
};
