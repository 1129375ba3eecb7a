#include "platform/EventObjects.h"

#include <atomic>
#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

// An event object is an eventfd that is readable while the object is set
// (manual reset). A selected socket is polled beside it; readiness that the
// socket shows is recorded in the object and sets it, as Winsock does.
//
// Recording follows Winsock's re-enabling rules closely enough for the loop:
// read and out-of-band data are recorded again after each enumeration while
// data remain; close is recorded once; write is recorded once, and again
// only after the socket has been seen full, so it stays edge-triggered.
struct platform::EventObjectTag {
    int fd = -1;
    std::atomic<int> socket{-1};
    std::atomic<std::uint32_t> mask{0};
    std::atomic<std::uint32_t> armed{0};
    std::atomic<std::uint32_t> recorded{0};
};

namespace platform {
namespace {

constexpr std::uint32_t LEVEL_EVENTS = NET_READ | NET_OOB;

void raise(EventObject event)
{
    std::uint64_t one = 1;
    // EAGAIN only when the counter is saturated, which is still "set".
    while (::write(event->fd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

short pollEventsFor(std::uint32_t armed)
{
    short events = 0;
    // Data alone must not wake a wait that only wants close.
    if (armed & NET_READ) events |= POLLIN;
    if (armed & NET_CLOSE) events |= POLLRDHUP;
    if (armed & NET_OOB) events |= POLLPRI;
    if (armed & NET_WRITE) events |= POLLOUT;
    return events;
}

bool hasPendingData(int socket)
{
    char byte;
    return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

// Turns what poll saw on a selected socket into recorded events.
bool record(EventObject event, short revents)
{
    std::uint32_t armed = event->armed.load(std::memory_order_acquire);
    std::uint32_t seen = 0;
    if (revents & POLLOUT) seen |= NET_WRITE;
    if (revents & POLLPRI) seen |= NET_OOB;
    if (revents & (POLLIN | POLLRDHUP | POLLHUP | POLLERR)) {
        bool hungUp = (revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
        if (!hungUp || hasPendingData(event->socket.load(std::memory_order_relaxed))) seen |= NET_READ;
        if (hungUp) seen |= NET_CLOSE;
    }
    seen &= armed;
    std::uint32_t disarm = seen & ~LEVEL_EVENTS;
    // A hung-up socket with nothing left to read stays quiet until selected again.
    if ((revents & (POLLRDHUP | POLLHUP | POLLERR)) && !(seen & NET_READ)) disarm |= armed;
    if (disarm) event->armed.fetch_and(~disarm, std::memory_order_acq_rel);
    if (seen & LEVEL_EVENTS) event->armed.fetch_and(~(seen & LEVEL_EVENTS), std::memory_order_acq_rel);
    if (!seen) return false;
    event->recorded.fetch_or(seen, std::memory_order_acq_rel);
    raise(event);
    return true;
}

// Write is re-enabled once a socket that wants it is found full.
void rearmWrites(std::uint32_t count, const EventObject* events)
{
    pollfd fds[MAX_WAIT_EVENTS];
    std::uint32_t n = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        EventObject e = events[i];
        int s = e->socket.load(std::memory_order_relaxed);
        bool waiting = (e->mask.load(std::memory_order_relaxed) & NET_WRITE) &&
                       !(e->armed.load(std::memory_order_relaxed) & NET_WRITE);
        fds[i] = pollfd{waiting ? s : -1, POLLOUT, 0};
        if (waiting && s >= 0) n++;
    }
    if (n == 0 || ::poll(fds, count, 0) < 0) return;
    for (std::uint32_t i = 0; i < count; ++i)
        if (fds[i].fd >= 0 && !(fds[i].revents & (POLLOUT | POLLHUP | POLLERR)))
            events[i]->armed.fetch_or(NET_WRITE, std::memory_order_acq_rel);
}

long long monotonicMs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

}  // namespace

EventObject createEventObject()
{
    int fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0) return nullptr;
    EventObject event = new EventObjectTag;
    event->fd = fd;
    return event;
}

bool closeEventObject(EventObject event)
{
    if (!event) {
        errno = EBADF;
        return false;
    }
    int rc = ::close(event->fd);
    delete event;
    return rc == 0;
}

bool setEventObject(EventObject event)
{
    if (!event) {
        errno = EBADF;
        return false;
    }
    raise(event);
    return true;
}

bool resetEventObject(EventObject event)
{
    if (!event) {
        errno = EBADF;
        return false;
    }
    std::uint64_t value;
    while (::read(event->fd, &value, sizeof value) < 0) {
        if (errno == EAGAIN) return true;
        if (errno != EINTR) return false;
    }
    return true;
}

bool selectSocketEvents(Socket socket, EventObject event, std::uint32_t mask)
{
    if (socket < 0) {
        errno = ENOTSOCK;
        return false;
    }
    if (!event && mask) {
        errno = EINVAL;
        return false;
    }
    if (mask && !setSocketNonBlocking(socket, true)) return false;
    if (!event) return true;
    event->socket.store(mask ? static_cast<int>(socket) : -1, std::memory_order_relaxed);
    event->mask.store(mask, std::memory_order_relaxed);
    event->recorded.store(0, std::memory_order_relaxed);
    event->armed.store(mask, std::memory_order_release);
    return true;
}

bool enumNetworkEvents(Socket socket, EventObject event, NetworkEvents* out)
{
    if (socket < 0) {
        errno = ENOTSOCK;
        return false;
    }
    if (!event || !out) {
        errno = EINVAL;
        return false;
    }
    *out = NetworkEvents{};
    if (event->socket.load(std::memory_order_relaxed) != socket) return resetEventObject(event);
    std::uint32_t seen = event->recorded.exchange(0, std::memory_order_acq_rel);
    if (!resetEventObject(event)) return false;
    // Level events may be recorded again; close and write may not.
    std::uint32_t again = seen & LEVEL_EVENTS & event->mask.load(std::memory_order_relaxed);
    if (again) event->armed.fetch_or(again, std::memory_order_acq_rel);
    out->events = seen;
    return true;
}

std::uint32_t waitForEvents(std::uint32_t count, const EventObject* events, std::uint32_t timeoutMs)
{
    if (count == 0 || count > MAX_WAIT_EVENTS || !events) {
        errno = EINVAL;
        return WAIT_FAILED_RESULT;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (!events[i]) {
            errno = EBADF;
            return WAIT_FAILED_RESULT;
        }
    }
    const long long deadline = timeoutMs == WAIT_INFINITE ? 0 : monotonicMs() + timeoutMs;
    pollfd fds[2 * MAX_WAIT_EVENTS];
    for (;;) {
        rearmWrites(count, events);
        for (std::uint32_t i = 0; i < count; ++i) {
            EventObject e = events[i];
            fds[2 * i] = pollfd{e->fd, POLLIN, 0};
            int s = e->socket.load(std::memory_order_relaxed);
            short want = s >= 0 ? pollEventsFor(e->armed.load(std::memory_order_acquire)) : 0;
            fds[2 * i + 1] = pollfd{want ? s : -1, want, 0};
        }
        int wait = -1;
        if (timeoutMs != WAIT_INFINITE) {
            long long left = deadline - monotonicMs();
            wait = left > 0 ? static_cast<int>(left) : 0;
        }
        int n = ::poll(fds, 2 * count, wait);
        if (n < 0) {
            if (errno == EINTR) continue;
            return WAIT_FAILED_RESULT;
        }
        if (n == 0) return WAIT_TIMEOUT_RESULT;
        std::uint32_t first = WAIT_TIMEOUT_RESULT;
        for (std::uint32_t i = 0; i < count; ++i) {
            bool ready = (fds[2 * i].revents & POLLIN) != 0;
            if (fds[2 * i + 1].fd >= 0 && fds[2 * i + 1].revents && record(events[i], fds[2 * i + 1].revents))
                ready = true;
            if (ready && first == WAIT_TIMEOUT_RESULT) first = i;
        }
        if (first != WAIT_TIMEOUT_RESULT) return first;
        // Only readiness that records nothing (a hang-up already reported): wait on.
        if (timeoutMs != WAIT_INFINITE && monotonicMs() >= deadline) return WAIT_TIMEOUT_RESULT;
    }
}

int lastSocketError()
{
    return errno;
}

bool setSocketNonBlocking(Socket socket, bool nonBlocking)
{
    int fd = static_cast<int>(socket);
    int flags = ::fcntl(fd, F_GETFL);
    if (flags < 0) return false;
    int wanted = nonBlocking ? (flags | O_NONBLOCK) : (flags & ~O_NONBLOCK);
    return wanted == flags || ::fcntl(fd, F_SETFL, wanted) == 0;
}

bool createSocketPair(Socket out[2])
{
    int fds[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return false;
    out[0] = fds[0];
    out[1] = fds[1];
    return true;
}

bool closeSocket(Socket socket)
{
    return ::close(static_cast<int>(socket)) == 0;
}

long sendOnSocket(Socket socket, const void* data, std::uint32_t length)
{
    return static_cast<long>(::send(static_cast<int>(socket), data, length, MSG_NOSIGNAL));
}

long recvOnSocket(Socket socket, void* data, std::uint32_t length)
{
    return static_cast<long>(::recv(static_cast<int>(socket), data, length, 0));
}

bool isWouldBlock(int socketError)
{
    return socketError == EAGAIN || socketError == EWOULDBLOCK;
}

}  // namespace platform
