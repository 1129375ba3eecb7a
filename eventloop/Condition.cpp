#include "eventloop/Condition.h"

#include "eventloop/Event.h"
#include "eventloop/ThreadException.h"

Condition::Condition() = default;

Condition::~Condition()
{
    // A waiter still listed while the process goes down may yet touch its
    // node: leave the nodes alone then.
    if (!threadChecksAreEnabled() && waiters) return;
    while (Node* node = freeNodes) {
        freeNodes = node->next;
        if (!platform::closeEvent(node->event)) {
            try {
                throwThreadFailure("CloseHandle");
            } catch (const ThreadException&) {
                // Already logged; a destructor can't pass it on.
            }
        }
        delete node;
    }
}

void Condition::wait(Mutex& mutex)
{
    waitOn(mutex, platform::WAIT_FOREVER);
}

bool Condition::wait(Mutex& mutex, std::uint32_t timeoutMs)
{
    return waitOn(mutex, timeoutMs);
}

bool Condition::waitOn(Mutex& mutex, std::uint32_t timeoutMs)
{
    Node* node;
    {
        MutexLock lock(section);
        node = freeNodes;
        if (node) freeNodes = node->next;
    }
    if (!node) {
        platform::EventHandle event = platform::createEvent();
        if (!event) {
            throwThreadFailure("CreateEvent");
            return true;  // checks are off: the process is going down
        }
        node = new Node{event, nullptr, nullptr};
    }
    {
        MutexLock lock(section);
        node->next = waiters;
        node->backLink = &waiters;
        if (waiters) waiters->backLink = &node->next;
        waiters = node;
    }
    bool woken;
    try {
        woken = Event::releaseAndWait(node->event, mutex, timeoutMs);
    } catch (...) {
        recycle(node, true);
        throw;
    }
    recycle(node, !woken);
    return woken;
}

void Condition::recycle(Node* node, bool timedOut)
{
    MutexLock lock(section);
    *node->backLink = node->next;
    if (node->next) node->next->backLink = node->backLink;
    // A signal that came after the timeout would wake the node's next user.
    if (timedOut) platform::waitForEvent(node->event, 0);
    node->next = freeNodes;
    freeNodes = node;
}

void Condition::signal()
{
    MutexLock lock(section);
    if (waiters && !platform::setEvent(waiters->event)) throwThreadFailure("SetEvent");
}

void Condition::broadcast()
{
    MutexLock lock(section);
    for (Node* node = waiters; node; node = node->next) {
        if (!platform::setEvent(node->event)) throwThreadFailure("SetEvent");
    }
}
