#include "eventloop/InThreadActorNotify.h"

#include "eventloop/EventLoop.h"

InThreadActorNotify::InThreadActorNotify(EventLoop& loop) : loop(loop)
{
    addToLoop(loop);
}

InThreadActorNotify::~InThreadActorNotify()
{
    removeFromLoop(loop);
}

void InThreadActorNotify::onWakeup()
{
    loop.drainActors(loop.actors.size());
}
