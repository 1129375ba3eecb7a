#pragma once

// Network event objects: manual-reset events that a socket's readiness can
// signal, and a wait for the first of up to MAX_WAIT_EVENTS of them. On
// Windows these are Winsock event objects; elsewhere an equivalent over
// eventfd and poll.

#include <cstdint>

namespace platform {

struct EventObjectTag;
using EventObject = EventObjectTag*;

// An OS socket; INVALID_SOCKET_VALUE where a descriptor is a bare event.
using Socket = std::intptr_t;
inline constexpr Socket INVALID_SOCKET_VALUE = -1;

// Network event bits.
inline constexpr std::uint32_t NET_READ = 1;
inline constexpr std::uint32_t NET_WRITE = 2;
inline constexpr std::uint32_t NET_OOB = 4;
inline constexpr std::uint32_t NET_CLOSE = 32;

inline constexpr std::uint32_t MAX_WAIT_EVENTS = 64;
inline constexpr std::uint32_t WAIT_INFINITE = 0xFFFFFFFFu;
// Results of waitForEvents besides an index below MAX_WAIT_EVENTS.
inline constexpr std::uint32_t WAIT_TIMEOUT_RESULT = 258;
inline constexpr std::uint32_t WAIT_FAILED_RESULT = 0xFFFFFFFFu;

// What enumNetworkEvents reports: the events seen since the last call, and
// an error code per event bit position (0 when none).
struct NetworkEvents {
    std::uint32_t events = 0;
    int errorCodes[10] = {};
};

// Null on failure; lastSocketError() says why.
EventObject createEventObject();
bool closeEventObject(EventObject event);
bool setEventObject(EventObject event);
bool resetEventObject(EventObject event);

// Ties the socket's network events in `mask` to `event`; a mask of 0 unties it.
bool selectSocketEvents(Socket socket, EventObject event, std::uint32_t mask);

// Reports and clears the socket's recorded network events and resets
// `event`. Fails for a bare event (no socket).
bool enumNetworkEvents(Socket socket, EventObject event, NetworkEvents* out);

// Waits for any of `count` events (at most MAX_WAIT_EVENTS) and returns the
// lowest signalled index, WAIT_TIMEOUT_RESULT, or WAIT_FAILED_RESULT.
std::uint32_t waitForEvents(std::uint32_t count, const EventObject* events, std::uint32_t timeoutMs);

int lastSocketError();

// The few socket calls the loop and its users need.
bool setSocketNonBlocking(Socket socket, bool nonBlocking);
// A connected pair of stream sockets (over loopback where there is no
// local socket pair).
bool createSocketPair(Socket out[2]);
bool closeSocket(Socket socket);
// Bytes moved, or -1 with lastSocketError(); a full or empty non-blocking
// socket gives -1 with isWouldBlock(lastSocketError()).
long sendOnSocket(Socket socket, const void* data, std::uint32_t length);
long recvOnSocket(Socket socket, void* data, std::uint32_t length);
bool isWouldBlock(int socketError);

}  // namespace platform
