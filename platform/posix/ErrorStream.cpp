#include "platform/ErrorStream.h"

#include <cerrno>
#include <unistd.h>

namespace platform {

void writeToErrorStream(const char* data, std::size_t length) noexcept
{
    // One write; an interrupted one is retried, a short one isn't split further.
    ssize_t n;
    do {
        n = ::write(STDERR_FILENO, data, length);
    } while (n < 0 && errno == EINTR);
}

}  // namespace platform
