#include "eventloop/PolledFd.h"

#include "eventloop/EventLoop.h"
#include "eventloop/EventLoopException.h"
#include "eventloop/PollableDescriptor.h"

PolledFd::~PolledFd() = default;

void PolledFd::addEvents(std::uint32_t mask)
{
    std::uint32_t wanted = wantedEvents | mask;
    if (descriptor && descriptor->socket != platform::INVALID_SOCKET_VALUE && !descriptor->select(wanted))
        throwEventLoopException("couldn't select events for existing PolledFd", platform::lastSocketError());
    wantedEvents = wanted;
}

std::uint32_t PolledFd::defaultEvents()
{
    return platform::NET_READ | platform::NET_OOB | platform::NET_CLOSE;
}

void PolledFd::onAdded()
{
    descriptor->setNonBlocking();
}

void PolledFd::onRemoved(PollableDescriptor* removed)
{
    removed->release();
}

void PolledFd::onThrottleRelease(std::uint32_t bits)
{
    addEvents(bits);
    // What was held back may have happened meanwhile, and a network event
    // already told isn't told again: hand it over on the next pass.
    pendingEvents |= bits;
    if (set) platform::setEventObject(descriptor->event);
}

SmartEventLoopMember::~SmartEventLoopMember() = default;

ProxyPolledFd::ProxyPolledFd() : fd(this) {}

ProxyPolledFd::~ProxyPolledFd() = default;

void ProxyPolledFd::removeFromLoop(EventLoop& loop)
{
    loop.removeIfAdded(fd);
}

void ProxyPolledFd::onDetached() {}

bool ProxyPolledFd::proxy_polledfd::handleEvents(PollableDescriptor*)
{
    return owner->onActivity();
}

void ProxyPolledFd::proxy_polledfd::onRemoved(PollableDescriptor* removed)
{
    removed->release();
    owner->onDetached();
}

PolledWSAEvent::PolledWSAEvent(PollableDescriptor* descriptor) : descriptor(descriptor) {}

PolledWSAEvent::~PolledWSAEvent()
{
    descriptor->release();
}

void PolledWSAEvent::addToLoop(EventLoop& loop)
{
    loop.add(fd, descriptor);
}
