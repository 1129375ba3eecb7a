#include "eventloop/SelfPipe.h"

#include "eventloop/EventLoopException.h"
#include "eventloop/PollableDescriptor.h"
#include "logging/Logger.h"

namespace {
Logger selfPipeLog("SelfPipe", false, 60, 100);

PollableDescriptor* freshDescriptor()
{
    platform::EventObject event = platform::createEventObject();
    if (!event) {
        throw SelfPipeException(eventLoopFailureText(selfPipeLog, "SelfPipeException", "can't create selfpipe",
                                                     platform::lastSocketError()));
    }
    return new PollableDescriptor(platform::INVALID_SOCKET_VALUE, event);
}
}  // namespace

SelfPipe::SelfPipe() : PolledWSAEvent(freshDescriptor()) {}

void SelfPipe::wake()
{
    platform::setEventObject(descriptor->event);
}

void SelfPipe::blockAndHandle()
{
    if (descriptor->socket != platform::INVALID_SOCKET_VALUE)
        descriptor->select(platform::NET_READ | platform::NET_OOB | platform::NET_CLOSE);
    if (platform::waitForEvents(1, &descriptor->event, platform::WAIT_INFINITE) == platform::WAIT_FAILED_RESULT)
        throwEventLoopException("error from EventLoop WSAWaitForMultipleEvents", platform::lastSocketError());
    onActivity();
}

bool SelfPipe::onActivity()
{
    // Reset before handling, so that a wake during the handling isn't lost.
    platform::resetEventObject(descriptor->event);
    onWakeup();
    return false;
}
