#include "platform/EventObjects.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

using namespace platform;

namespace {

struct Events {
    std::vector<EventObject> list;
    explicit Events(std::size_t n)
    {
        for (std::size_t i = 0; i < n; ++i)
            list.push_back(createEventObject());
    }
    ~Events()
    {
        for (EventObject e : list)
            closeEventObject(e);
    }
    std::uint32_t wait(std::uint32_t timeoutMs)
    {
        return waitForEvents(static_cast<std::uint32_t>(list.size()), list.data(), timeoutMs);
    }
};

struct SocketPair {
    Socket s[2] = {INVALID_SOCKET_VALUE, INVALID_SOCKET_VALUE};
    SocketPair() { EXPECT_TRUE(createSocketPair(s)); }
    ~SocketPair()
    {
        for (Socket x : s)
            if (x != INVALID_SOCKET_VALUE) closeSocket(x);
    }
    void closePeer()
    {
        closeSocket(s[1]);
        s[1] = INVALID_SOCKET_VALUE;
    }
};

// Polls briefly until the recorded events include `bits` (loopback delivery isn't instant everywhere).
std::uint32_t waitAndEnum(Socket s, EventObject e, std::uint32_t bits)
{
    std::uint32_t seen = 0;
    for (int round = 0; round < 50 && (seen & bits) != bits; ++round) {
        if (waitForEvents(1, &e, 100) != 0) continue;
        NetworkEvents ne;
        if (!enumNetworkEvents(s, e, &ne)) break;
        seen |= ne.events;
    }
    return seen;
}

}  // namespace

TEST(EventObjects, ManualResetAndLowestIndexFirst)
{
    Events ev(64);
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(0));
    ASSERT_TRUE(setEventObject(ev.list[37]));
    ASSERT_TRUE(setEventObject(ev.list[5]));
    // Stays set until reset, and the lowest ready index wins.
    EXPECT_EQ(5u, ev.wait(0));
    EXPECT_EQ(5u, ev.wait(WAIT_INFINITE));
    ASSERT_TRUE(resetEventObject(ev.list[5]));
    EXPECT_EQ(37u, ev.wait(0));
    ASSERT_TRUE(resetEventObject(ev.list[37]));
    ASSERT_TRUE(resetEventObject(ev.list[37]));  // resetting a clear object is harmless
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(20));
    ASSERT_TRUE(setEventObject(ev.list[63]));
    ASSERT_TRUE(setEventObject(ev.list[63]));
    ASSERT_TRUE(resetEventObject(ev.list[63]));  // one reset clears any number of sets
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(0));
}

TEST(EventObjects, RejectsBadCounts)
{
    Events ev(65);
    EXPECT_EQ(WAIT_FAILED_RESULT, waitForEvents(65, ev.list.data(), 0));
    EXPECT_EQ(WAIT_FAILED_RESULT, waitForEvents(0, ev.list.data(), 0));
}

TEST(EventObjects, WaitEndsWhenAnotherThreadSets)
{
    Events ev(3);
    std::thread setter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        setEventObject(ev.list[2]);
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(2u, ev.wait(WAIT_INFINITE));
    setter.join();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST(EventObjects, TimedWaitTimesOut)
{
    Events ev(1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(50));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(45));
}

TEST(EventObjects, BareEventHasNoNetworkEvents)
{
    Events ev(1);
    NetworkEvents ne;
    EXPECT_FALSE(enumNetworkEvents(INVALID_SOCKET_VALUE, ev.list[0], &ne));
    EXPECT_FALSE(selectSocketEvents(INVALID_SOCKET_VALUE, ev.list[0], NET_READ));
}

TEST(EventObjects, SocketReadAndCloseAreRecorded)
{
    SocketPair sp;
    Events ev(1);
    EventObject e = ev.list[0];
    ASSERT_TRUE(selectSocketEvents(sp.s[0], e, NET_READ | NET_OOB | NET_CLOSE));
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(20));

    ASSERT_EQ(3, sendOnSocket(sp.s[1], "abc", 3));
    EXPECT_EQ(NET_READ, waitAndEnum(sp.s[0], e, NET_READ));
    // A read that leaves data behind has read told again; one that empties the socket doesn't.
    char buf[8];
    EXPECT_EQ(1, recvOnSocket(sp.s[0], buf, 1));
    EXPECT_EQ(NET_READ, waitAndEnum(sp.s[0], e, NET_READ));
    EXPECT_EQ(2, recvOnSocket(sp.s[0], buf, sizeof buf));
    NetworkEvents ne;
    ASSERT_TRUE(enumNetworkEvents(sp.s[0], e, &ne));
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(20));
    // Non-blocking after select: an empty socket doesn't block the reader.
    EXPECT_EQ(-1, recvOnSocket(sp.s[0], buf, sizeof buf));
    EXPECT_TRUE(isWouldBlock(lastSocketError()));

    sp.closePeer();
    EXPECT_EQ(NET_CLOSE, waitAndEnum(sp.s[0], e, NET_CLOSE) & NET_CLOSE);
    // Close is told once.
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(50));
}

TEST(EventObjects, WriteIsEdgeTriggered)
{
    SocketPair sp;
    Events ev(1);
    EventObject e = ev.list[0];
    ASSERT_TRUE(selectSocketEvents(sp.s[0], e, NET_READ | NET_WRITE | NET_OOB | NET_CLOSE));
    EXPECT_EQ(NET_WRITE, waitAndEnum(sp.s[0], e, NET_WRITE));
    // Still writable, but already told.
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(30));

    // Fill the socket; once the peer drains it, write is told again.
    char block[4096] = {};
    long sent = 0;
    for (long n; (n = sendOnSocket(sp.s[0], block, sizeof block)) > 0;)
        sent += n;
    ASSERT_TRUE(isWouldBlock(lastSocketError()));
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(0));
    std::thread drainer([&] {
        ASSERT_TRUE(setSocketNonBlocking(sp.s[1], false));
        char sink[4096];
        while (sent > 0) {
            long n = recvOnSocket(sp.s[1], sink, sizeof sink);
            if (n <= 0) break;
            sent -= n;
        }
    });
    EXPECT_EQ(NET_WRITE, waitAndEnum(sp.s[0], e, NET_WRITE) & NET_WRITE);
    drainer.join();
}

TEST(EventObjects, DataDoesNotWakeAWaitForCloseOnly)
{
    SocketPair sp;
    Events ev(1);
    EventObject e = ev.list[0];
    ASSERT_TRUE(selectSocketEvents(sp.s[0], e, NET_CLOSE));
    ASSERT_EQ(1, sendOnSocket(sp.s[1], "x", 1));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(0));
    EXPECT_EQ(WAIT_TIMEOUT_RESULT, ev.wait(50));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    // Winsock tells close only once the data before it has been read.
    char byte;
    EXPECT_EQ(1, recvOnSocket(sp.s[0], &byte, 1));
    sp.closePeer();
    EXPECT_EQ(NET_CLOSE, waitAndEnum(sp.s[0], e, NET_CLOSE));
}
