#include "eventloop/InThreadActor.h"

#include "eventloop/EventLoop.h"
#include "eventloop/PollableDescriptor.h"
#include "eventloop/PolledFd.h"
#include "eventloop/Timeout.h"

InThreadActor::~InThreadActor() = default;

void SetBooleanFlagActor::run()
{
    *flag = true;
}

void AddSelmActor::run()
{
    member.addToLoop(loop);
}

void RemoveSelmActor::run()
{
    member.removeFromLoop(loop);
}

void RemoveTimeoutFromAnywhereActor::run()
{
    queue.remove(timeout);
}

RemoveFdActor::Target::~Target() = default;

void RemoveFdActor::run()
{
    if (fd.set) loop.remove(fd);
    if (descriptor) descriptor->addRef();
    target.fdRemoved(fd, descriptor);
}
