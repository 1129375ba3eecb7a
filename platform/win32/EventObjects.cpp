#include "platform/EventObjects.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

namespace platform {
namespace {

// Winsock needs one start-up per process before its first call.
bool winsockReady()
{
    static const bool ready = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return ready;
}

WSAEVENT toHandle(EventObject event)
{
    return reinterpret_cast<WSAEVENT>(event);
}
SOCKET toSocket(Socket socket)
{
    return static_cast<SOCKET>(socket);
}

}  // namespace

EventObject createEventObject()
{
    if (!winsockReady()) return nullptr;
    WSAEVENT event = WSACreateEvent();
    return event == WSA_INVALID_EVENT ? nullptr : reinterpret_cast<EventObject>(event);
}

bool closeEventObject(EventObject event)
{
    return WSACloseEvent(toHandle(event)) != FALSE;
}

bool setEventObject(EventObject event)
{
    return WSASetEvent(toHandle(event)) != FALSE;
}

bool resetEventObject(EventObject event)
{
    return WSAResetEvent(toHandle(event)) != FALSE;
}

bool selectSocketEvents(Socket socket, EventObject event, std::uint32_t mask)
{
    return WSAEventSelect(toSocket(socket), toHandle(event), static_cast<long>(mask)) == 0;
}

bool enumNetworkEvents(Socket socket, EventObject event, NetworkEvents* out)
{
    WSANETWORKEVENTS events;
    if (WSAEnumNetworkEvents(toSocket(socket), toHandle(event), &events) != 0) return false;
    out->events = static_cast<std::uint32_t>(events.lNetworkEvents);
    for (int i = 0; i < 10; ++i)
        out->errorCodes[i] = events.iErrorCode[i];
    return true;
}

std::uint32_t waitForEvents(std::uint32_t count, const EventObject* events, std::uint32_t timeoutMs)
{
    DWORD r = WSAWaitForMultipleEvents(count, reinterpret_cast<const WSAEVENT*>(events), FALSE, timeoutMs, FALSE);
    if (r < WSA_WAIT_EVENT_0 + count) return r - WSA_WAIT_EVENT_0;
    if (r == WSA_WAIT_TIMEOUT) return WAIT_TIMEOUT_RESULT;
    return WAIT_FAILED_RESULT;
}

int lastSocketError()
{
    return WSAGetLastError();
}

bool setSocketNonBlocking(Socket socket, bool nonBlocking)
{
    u_long value = nonBlocking ? 1 : 0;
    return ioctlsocket(toSocket(socket), FIONBIO, &value) == 0;
}

bool createSocketPair(Socket out[2])
{
    if (!winsockReady()) return false;
    SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (listener == INVALID_SOCKET) return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof address;
    SOCKET client = INVALID_SOCKET;
    SOCKET server = INVALID_SOCKET;
    bool ok = ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
              ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
              ::listen(listener, 1) == 0;
    if (ok) {
        client = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        ok = client != INVALID_SOCKET && ::connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    if (ok) {
        server = ::accept(listener, nullptr, nullptr);
        ok = server != INVALID_SOCKET;
    }
    int error = WSAGetLastError();
    ::closesocket(listener);
    if (!ok) {
        if (client != INVALID_SOCKET) ::closesocket(client);
        WSASetLastError(error);
        return false;
    }
    out[0] = static_cast<Socket>(client);
    out[1] = static_cast<Socket>(server);
    return true;
}

bool closeSocket(Socket socket)
{
    return ::closesocket(toSocket(socket)) == 0;
}

long sendOnSocket(Socket socket, const void* data, std::uint32_t length)
{
    int n = ::send(toSocket(socket), static_cast<const char*>(data), static_cast<int>(length), 0);
    return n == SOCKET_ERROR ? -1 : n;
}

long recvOnSocket(Socket socket, void* data, std::uint32_t length)
{
    int n = ::recv(toSocket(socket), static_cast<char*>(data), static_cast<int>(length), 0);
    return n == SOCKET_ERROR ? -1 : n;
}

bool isWouldBlock(int socketError)
{
    return socketError == WSAEWOULDBLOCK;
}

}  // namespace platform
