#include "eventloop/EventLoopException.h"

#include "eventloop/Thread.h"
#include "foundation/Str.h"
#include "logging/Logger.h"

namespace {
Logger eventLoopLog("EventLoop", false, 60, 100);
}

std::string eventLoopFailureText(Logger& category, const char* className, const char* message, int socketError)
{
    Str text = Str::formatted("%s: about to throw a %s: %s: winsock error %d", currentThreadName(), className,
                              message, socketError);
    logWarn(category, text);
    return text;
}

void throwEventLoopException(const char* message, int socketError)
{
    throw EventLoopException(eventLoopFailureText(eventLoopLog, "EventLoopException", message, socketError));
}
