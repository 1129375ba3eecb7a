#pragma once

// Timers of the event loop. Timers are intrusive nodes of a pointer heap, so
// scheduling never allocates; the owner keeps a timer alive and must remove it
// (or let it fire for good) before destroying it.
//
// The clock is the wall clock, not a monotonic one: the queue detects clock
// steps itself (correctForClockChange). Tests inject their own clock.
//
// How the loop drives a TimeoutQueue (all on the loop's thread):
//
//     Timeval now = queue.clockNow();
//     while (!stopping) {
//         queue.fireDue(now);                          // refreshes now if anything fired
//         std::int32_t wait = queue.millisecondsUntilNext(now);   // -1: no timer
//         ... wait for events at most `wait` ms ...
//         if (wait >= 0) {
//             Timeval later = queue.clockNow();
//             queue.correctForClockChange(now, later, wait);
//             now = later;
//         }
//         ... dispatch; if (!queue.empty()) now = queue.clockNow();
//     }
//     queue.drainOnStop();                             // runs the zero-delay work left
//
// Other threads never touch a queue; they hand removal to the loop's thread.

#include "time/Clock.h"
#include "time/Timeval.h"

#include <cstdint>

class TimeoutQueue;

class Timeout {
public:
    Timeout() = default;
    virtual ~Timeout() = default;
    Timeout(const Timeout&) = delete;
    Timeout& operator=(const Timeout&) = delete;

    // Called on the loop's thread when due. nextDelay comes in as the current
    // delay (ms); non-zero on return re-arms the timer that much after the
    // whole pass of due timers, 0 leaves it idle.
    virtual void fire(std::uint64_t& nextDelay) = 0;

    bool isScheduled() const { return place != IDLE; }
    std::uint64_t getDelay() const { return delay; }
    Timeval getExpiry() const { return expiry; }

private:
    friend class TimeoutQueue;

    // place: the link that holds a queued node, or one of these.
    static constexpr std::uintptr_t IDLE = 0;
    static constexpr std::uintptr_t DUE = 1;
    static constexpr std::uintptr_t REARMING = 3;

    // In the heap: children. On the due or rearm list: left is the next entry
    // and prevLink the link that points here.
    Timeout* left = nullptr;
    union {
        Timeout* right = nullptr;
        Timeout** prevLink;
    };
    Timeout* parent = nullptr;
    std::uintptr_t place = IDLE;
    Timeval expiry;
    std::uint64_t delay = 0;
};

// Fires once: fire() clears nextDelay and calls onTimeout().
class OneShotTimeout : public Timeout {
public:
    void fire(std::uint64_t& nextDelay) override;
    virtual void onTimeout() = 0;
};

// Fires every `delay` ms until removed; the period counts from the end of each
// pass, so a slow callback stretches it. Change the period with reschedule.
class PeriodicTimeout : public Timeout {
public:
    void fire(std::uint64_t& nextDelay) override;
    virtual void onTimeout() = 0;
};

class TimeoutQueue {
public:
    // Reads the system clock unless given another, which must outlive the queue.
    explicit TimeoutQueue(const IClock* clock = nullptr);
    TimeoutQueue(const TimeoutQueue&) = delete;
    TimeoutQueue& operator=(const TimeoutQueue&) = delete;

    Timeval clockNow() const { return clock->now(); }

    // Arms the timer delayMs after now; a queued timer just moves. A timer
    // about to fire in the current pass keeps firing when delayMs is 0.
    void schedule(Timeout& timeout, std::uint64_t delayMs);
    void schedule(Timeout& timeout, Timeval now, std::uint64_t delayMs);
    // Changes the period and keeps the phase of the running interval.
    void reschedule(Timeout& timeout, std::uint64_t delayMs);
    // Makes the timer idle. A zero-delay timer that was due fires here, so
    // zero-delay work is never lost. Removing a periodic timer from its own
    // callback stops it.
    void remove(Timeout& timeout);

    bool empty() const { return count == 0; }
    std::uint32_t size() const { return count; }
    // -1 with no timer, 0 when the first is due, else the wait rounded up to
    // whole ms and capped at 0x7FFFFFFF.
    std::int32_t millisecondsUntilNext(Timeval now) const;

    // Fires every timer due within 170 ms of now, then re-arms the periodic
    // ones from the clock read after the pass (into now).
    void fireDue(Timeval& now);
    // After a finite wait of waitedMs from before to after: absorbs a clock
    // step back, or forward by more than the wait plus 5 s.
    void correctForClockChange(Timeval before, Timeval after, std::uint64_t waitedMs);
    // After the loop ends: fires all zero-delay timers, also those their
    // callbacks add; timers with a delay stay queued, unfired.
    void drainOnStop();

private:
    void insert(Timeout* node);
    void erase(Timeout* node);
    Timeout* lastNode() const;
    void swapWithParent(Timeout* child);
    void sift(Timeout* node);
    Timeout* detachAll();

    static void append(Timeout* node, std::uintptr_t state, Timeout**& tail);
    static void push(Timeout* node, std::uintptr_t state, Timeout*& head);
    static void unlink(Timeout* node);
    void fireList(Timeout*& head, Timeout*& rearm, bool startFromDelay);
    void rearmAll(Timeout*& rearm, Timeval now);
    void requeue(Timeout*& list);

    void reinsertAfterStepBack(Timeout* node, Timeval after);
    void shiftAll(Timeout* node, std::uint64_t shiftMs);
    void collectForDrain(Timeout* node, Timeout**& tail);

    std::uint32_t count = 0;
    std::uint32_t pathMask = 0;
    Timeout* root = nullptr;
    const IClock* clock;
    // The timer whose callback runs now; removing it from there stops it.
    Timeout* firing = nullptr;
    bool firingRemoved = false;
};
