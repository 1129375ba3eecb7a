#include "eventloop/Timeout.h"

namespace {

// Timers this close to their expiry fire in the same pass.
constexpr std::uint64_t FIRE_AHEAD_MS = 170;
// A forward step smaller than this beyond the wait counts as a late wake-up.
constexpr std::uint64_t FORWARD_STEP_SLACK_SECONDS = 5;
constexpr std::uint64_t MAX_WAIT_MS = 0x7FFFFFFF;

Timeval plusMs(Timeval t, std::uint64_t ms)
{
    t.addMilliseconds(ms);
    return t;
}

std::uint64_t ceilMs(std::uint64_t ticks)
{
    return ticks / Timeval::TICKS_PER_MILLISECOND + (ticks % Timeval::TICKS_PER_MILLISECOND != 0);
}

std::uintptr_t placeOf(Timeout** link)
{
    return reinterpret_cast<std::uintptr_t>(link);
}

}  // namespace

void OneShotTimeout::fire(std::uint64_t& nextDelay)
{
    nextDelay = 0;
    onTimeout();
}

void PeriodicTimeout::fire(std::uint64_t&)
{
    onTimeout();
}

TimeoutQueue::TimeoutQueue(const IClock* c) : clock(c ? c : &SystemClock::instance()) {}

// --- the heap ---------------------------------------------------------------
//
// A complete binary tree of the timers themselves. The node with ordinal n
// (root = 1) is reached by the bits of n below its top bit, high to low:
// 0 goes left, 1 goes right. pathMask is the bit below count's top bit.

namespace {

Timeout** linkOf(std::uintptr_t place)
{
    return reinterpret_cast<Timeout**>(place);
}

}  // namespace

Timeout* TimeoutQueue::lastNode() const
{
    Timeout* node = root;
    for (std::uint32_t bit = pathMask; bit != 0; bit >>= 1) node = (count & bit) ? node->right : node->left;
    return node;
}

void TimeoutQueue::insert(Timeout* node)
{
    ++count;
    if (count >= 2 && (count & (count - 1)) == 0) pathMask = pathMask ? pathMask << 1 : 1;
    node->left = nullptr;
    node->right = nullptr;
    if (count == 1) {
        root = node;
        node->parent = nullptr;
        node->place = placeOf(&root);
        return;
    }
    Timeout* parent = root;
    for (std::uint32_t bit = pathMask; bit > 1; bit >>= 1) parent = (count & bit) ? parent->right : parent->left;
    Timeout** link = (count & 1) ? &parent->right : &parent->left;
    *link = node;
    node->parent = parent;
    node->place = placeOf(link);
    sift(node);
}

void TimeoutQueue::erase(Timeout* node)
{
    Timeout* last = lastNode();
    *linkOf(last->place) = nullptr;
    if (last != node) {
        last->left = node->left;
        if (last->left) {
            last->left->parent = last;
            last->left->place = placeOf(&last->left);
        }
        last->right = node->right;
        if (last->right) {
            last->right->parent = last;
            last->right->place = placeOf(&last->right);
        }
        last->parent = node->parent;
        last->place = node->place;
        *linkOf(last->place) = last;
    }
    --count;
    if (((count + 1) & count) == 0) pathMask >>= 1;
    node->left = nullptr;
    node->right = nullptr;
    node->parent = nullptr;
    node->place = Timeout::IDLE;
    if (last != node) sift(last);
}

// Exchanges the tree positions (links, not payloads) of child and its parent.
void TimeoutQueue::swapWithParent(Timeout* child)
{
    Timeout* parent = child->parent;
    Timeout** parentLink = linkOf(parent->place);
    Timeout* grandParent = parent->parent;
    Timeout* childLeft = child->left;
    Timeout* childRight = child->right;
    if (parent->left == child) {
        child->left = parent;
        child->right = parent->right;
        if (child->right) {
            child->right->parent = child;
            child->right->place = placeOf(&child->right);
        }
        parent->place = placeOf(&child->left);
    } else {
        child->right = parent;
        child->left = parent->left;
        if (child->left) {
            child->left->parent = child;
            child->left->place = placeOf(&child->left);
        }
        parent->place = placeOf(&child->right);
    }
    parent->parent = child;
    parent->left = childLeft;
    if (childLeft) {
        childLeft->parent = parent;
        childLeft->place = placeOf(&parent->left);
    }
    parent->right = childRight;
    if (childRight) {
        childRight->parent = parent;
        childRight->place = placeOf(&parent->right);
    }
    child->parent = grandParent;
    child->place = placeOf(parentLink);
    *parentLink = child;
}

// Equal expiries never swap, so equal times fire in no promised order.
void TimeoutQueue::sift(Timeout* node)
{
    bool moved = false;
    while (node->parent && node->expiry < node->parent->expiry) {
        swapWithParent(node);
        moved = true;
    }
    if (moved) return;
    while (node->left) {
        Timeout* child = node->right && node->right->expiry < node->left->expiry ? node->right : node->left;
        if (!(child->expiry < node->expiry)) break;
        swapWithParent(child);
    }
}

Timeout* TimeoutQueue::detachAll()
{
    Timeout* tree = root;
    root = nullptr;
    count = 0;
    pathMask = 0;
    return tree;
}

// --- due and rearm lists ----------------------------------------------------
//
// Private to one pass; left is the next entry, prevLink the link to this one.

void TimeoutQueue::append(Timeout* node, std::uintptr_t state, Timeout**& tail)
{
    node->place = state;
    node->parent = nullptr;
    node->left = nullptr;
    node->prevLink = tail;
    *tail = node;
    tail = &node->left;
}

void TimeoutQueue::push(Timeout* node, std::uintptr_t state, Timeout*& head)
{
    node->place = state;
    node->parent = nullptr;
    node->left = head;
    node->prevLink = &head;
    if (head) head->prevLink = &node->left;
    head = node;
}

void TimeoutQueue::unlink(Timeout* node)
{
    *node->prevLink = node->left;
    if (node->left) node->left->prevLink = node->prevLink;
    node->left = nullptr;
    node->right = nullptr;
    node->place = Timeout::IDLE;
}

void TimeoutQueue::fireList(Timeout*& head, Timeout*& rearm, bool startFromDelay)
{
    while (Timeout* t = head) {
        unlink(t);
        std::uint64_t next = startFromDelay ? t->delay : 0;
        firing = t;
        firingRemoved = false;
        try {
            t->fire(next);
        } catch (...) {
            firing = nullptr;
            requeue(head);
            requeue(rearm);
            throw;
        }
        firing = nullptr;
        // The callback may have removed, rescheduled or (with 0) deleted it.
        if (next != 0 && !firingRemoved && t->place == Timeout::IDLE) {
            t->delay = next;
            push(t, Timeout::REARMING, rearm);
        }
    }
}

void TimeoutQueue::rearmAll(Timeout*& rearm, Timeval now)
{
    while (Timeout* t = rearm) {
        unlink(t);
        t->expiry = plusMs(now, t->delay);
        insert(t);
    }
}

// After a throwing callback: nothing may stay on a list whose head is gone.
void TimeoutQueue::requeue(Timeout*& list)
{
    Timeval now = clock->now();
    while (Timeout* t = list) {
        bool rearming = t->place == Timeout::REARMING;
        unlink(t);
        if (rearming) t->expiry = plusMs(now, t->delay);
        insert(t);
    }
}

// --- the interface ----------------------------------------------------------

void TimeoutQueue::schedule(Timeout& timeout, std::uint64_t delayMs)
{
    schedule(timeout, clock->now(), delayMs);
}

void TimeoutQueue::schedule(Timeout& timeout, Timeval now, std::uint64_t delayMs)
{
    timeout.delay = delayMs;
    if (timeout.place == Timeout::REARMING) return;
    if (timeout.place == Timeout::DUE) {
        if (delayMs == 0) return;
        unlink(&timeout);
    }
    timeout.expiry = plusMs(now, delayMs);
    if (timeout.place == Timeout::IDLE)
        insert(&timeout);
    else
        sift(&timeout);
}

void TimeoutQueue::reschedule(Timeout& timeout, std::uint64_t delayMs)
{
    Timeval now = clock->now();
    std::uint64_t old = timeout.delay;
    switch (timeout.place) {
    case Timeout::REARMING:
        timeout.delay = delayMs;
        return;
    case Timeout::DUE:
        if (delayMs <= old) {
            timeout.delay = delayMs;
            return;
        }
        unlink(&timeout);
        timeout.expiry = plusMs(now, delayMs - old);
        break;
    case Timeout::IDLE:
        timeout.expiry = plusMs(now, delayMs);
        break;
    default: {
        if (delayMs == old) return;
        erase(&timeout);
        std::uint64_t remaining = delayMs;
        if (now < timeout.expiry) {
            std::uint64_t left = ceilMs(timeout.expiry.ticks - now.ticks);
            std::uint64_t elapsed = left < old ? old - left : 0;
            remaining = elapsed >= delayMs ? 0 : delayMs - elapsed;
        }
        timeout.expiry = plusMs(now, remaining);
        break;
    }
    }
    timeout.delay = delayMs;
    insert(&timeout);
}

void TimeoutQueue::remove(Timeout& timeout)
{
    if (&timeout == firing) firingRemoved = true;
    switch (timeout.place) {
    case Timeout::IDLE:
        return;
    case Timeout::REARMING:
        unlink(&timeout);
        return;
    case Timeout::DUE: {
        unlink(&timeout);
        if (timeout.delay == 0) {
            std::uint64_t next = 0;
            timeout.fire(next);
        }
        return;
    }
    default:
        erase(&timeout);
        return;
    }
}

std::int32_t TimeoutQueue::millisecondsUntilNext(Timeval now) const
{
    if (!root) return -1;
    if (!(now < root->expiry)) return 0;
    std::uint64_t ms = ceilMs(root->expiry.ticks - now.ticks);
    return static_cast<std::int32_t>(ms < MAX_WAIT_MS ? ms : MAX_WAIT_MS);
}

void TimeoutQueue::fireDue(Timeval& now)
{
    Timeval limit = plusMs(now, FIRE_AHEAD_MS);
    Timeout* due = nullptr;
    Timeout** tail = &due;
    while (root && !(limit < root->expiry)) {
        Timeout* t = root;
        erase(t);
        append(t, Timeout::DUE, tail);
    }
    if (!due) return;
    Timeout* rearm = nullptr;
    fireList(due, rearm, true);
    // Periods count from the end of the pass: no catch-up for missed ones.
    now = clock->now();
    rearmAll(rearm, now);
}

void TimeoutQueue::correctForClockChange(Timeval before, Timeval after, std::uint64_t waitedMs)
{
    if (after < before) {
        // Stepped back: no timer may now wait longer than its own delay.
        reinsertAfterStepBack(detachAll(), after);
        return;
    }
    Timeval expected = plusMs(before, waitedMs);
    expected.addSeconds(FORWARD_STEP_SLACK_SECONDS);
    if (expected < after) {
        // Stepped forward or slept: every expiry moves with the clock.
        shiftAll(root, ceilMs(after.ticks - before.ticks) - waitedMs);
    }
}

void TimeoutQueue::reinsertAfterStepBack(Timeout* node, Timeval after)
{
    if (!node) return;
    Timeout* left = node->left;
    Timeout* right = node->right;
    Timeval candidate = plusMs(after, node->delay);
    if (candidate < node->expiry) node->expiry = candidate;
    node->parent = nullptr;
    insert(node);
    reinsertAfterStepBack(left, after);
    reinsertAfterStepBack(right, after);
}

void TimeoutQueue::shiftAll(Timeout* node, std::uint64_t shiftMs)
{
    if (!node) return;
    node->expiry.addMilliseconds(shiftMs);
    shiftAll(node->left, shiftMs);
    shiftAll(node->right, shiftMs);
}

void TimeoutQueue::collectForDrain(Timeout* node, Timeout**& tail)
{
    if (!node) return;
    Timeout* left = node->left;
    Timeout* right = node->right;
    if (node->delay == 0) {
        append(node, Timeout::DUE, tail);
    } else {
        node->parent = nullptr;
        insert(node);
    }
    collectForDrain(left, tail);
    collectForDrain(right, tail);
}

void TimeoutQueue::drainOnStop()
{
    for (;;) {
        Timeout* run = nullptr;
        Timeout** tail = &run;
        collectForDrain(detachAll(), tail);
        if (!run) return;
        Timeout* rearm = nullptr;
        fireList(run, rearm, false);
        if (rearm) rearmAll(rearm, clock->now());
    }
}
