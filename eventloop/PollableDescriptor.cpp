#include "eventloop/PollableDescriptor.h"

#include "eventloop/EventLoopException.h"
#include "logging/Logger.h"

namespace {
Logger descriptorLog("PollableDescriptor", false, 60, 100);

[[noreturn]] void fail(const char* message, int error)
{
    throw PollableDescriptorException(
        eventLoopFailureText(descriptorLog, "PollableDescriptorException", message, error));
}
}  // namespace

PollableDescriptor::Owner::~Owner() = default;

PollableDescriptor::PollableDescriptor(platform::Socket socket, Owner* owner) : socket(socket), owner(owner)
{
    if (socket == platform::INVALID_SOCKET_VALUE) createEvent();
}

PollableDescriptor::PollableDescriptor(platform::Socket socket, platform::EventObject event, Owner* owner)
    : socket(socket), event(event), owner(owner)
{
}

void PollableDescriptor::createEvent()
{
    event = platform::createEventObject();
    if (!event) fail("couldn't WSACreateEvent", platform::lastSocketError());
}

void PollableDescriptor::release()
{
    if (refCount.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    platform::EventObject closing = event;
    Owner* owned = owner;
    delete this;
    if (owned) {
        owned->close();
        delete owned;
    }
    if (closing && !platform::closeEventObject(closing)) fail("couldn't WSACloseEvent", platform::lastSocketError());
}

bool PollableDescriptor::select(std::uint32_t mask)
{
    if (!event) createEvent();
    return platform::selectSocketEvents(socket, event, mask);
}

void PollableDescriptor::setNonBlocking()
{
    if (socket == platform::INVALID_SOCKET_VALUE || platform::setSocketNonBlocking(socket, true)) return;
    int error = platform::lastSocketError();
    throw PollableDescriptorException(
        eventLoopFailureText(descriptorLog, "PollableDescriptorException", "can't change FIONBIO", error));
}
