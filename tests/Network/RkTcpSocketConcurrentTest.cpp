#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <barrier>
#include <latch>
#include <thread>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkTcpTimeoutSocket.h"

const RkTimePeriod NO_LIMIT;
const RkTimePeriod SHORT(0, 0, 0, 0, 20);
const RkTimePeriod LONG(0, 0, 1);

/// Two connected sockets; the first is handed on, the second is closed here.
struct Pair {
    Pair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_ends), 0); }
    ~Pair() { ::close(m_ends[1]); }
    int Given() const { return m_ends[0]; }
    void Write() const { EXPECT_EQ(::send(m_ends[1], "x", 1, MSG_NOSIGNAL), 1); }

    int m_ends[2];
};

// Each round: a reader blocks (or is about to), another thread closes, and the number at once belongs to a stranger whose
// bytes the reader must leave alone.
TEST(RkTcpTimeoutSocketConcurrentTest, CloseEndsReadWithoutTouchingTheNextOwner) {
    constexpr int ROUNDS = 5000;
    std::barrier step(2);
    RkTcpTimeoutSocket sock(LONG, NO_LIMIT, LONG);
    std::thread reader([&] {
        for (int i = 0; i < ROUNDS; ++i) {
            char byte;
            step.arrive_and_wait();
            EXPECT_EQ(sock.Read(&byte, 1), -1);
            step.arrive_and_wait();
        }
    });
    for (int i = 0; i < ROUNDS; ++i) {
        const Pair mine, stranger;
        stranger.Write();
        sock.SetHandle(mine.Given());
        step.arrive_and_wait();
        if (i % 2 == 0)
            std::this_thread::yield();
        sock.Close();
        ASSERT_EQ(::dup3(stranger.Given(), mine.Given(), O_CLOEXEC), mine.Given());
        step.arrive_and_wait();
        char byte;
        EXPECT_EQ(::recv(mine.Given(), &byte, 1, MSG_DONTWAIT), 1);
        ::close(mine.Given());
        ::close(stranger.Given());
    }
    reader.join();
}

TEST(RkTcpTimeoutSocketConcurrentTest, OpenedAgainItIsAsGoodAsNew) {
    RkTcpTimeoutSocket sock(LONG, SHORT, LONG);
    char byte;
    EXPECT_EQ(sock.Read(&byte, 1), 0);  // never opened: only the time passes
    for (const bool woken : {false, true, false}) {
        const Pair pair;
        sock.SetHandle(pair.Given());
        if (woken)
            sock.SignalPipe();  // ends the wait, but nothing came and nobody closed
        EXPECT_EQ(sock.Read(&byte, 1), 0);
        pair.Write();
        EXPECT_EQ(sock.Read(&byte, 1), 1);
        sock.Close();
        EXPECT_EQ(sock.Read(&byte, 1), -1);
        EXPECT_EQ(errno, EBADF);
    }
}

TEST(RkTcpTimeoutSocketConcurrentTest, AssignmentHandsOnTheHandleAndKeepsThePipe) {
    struct OpenedUp : RkTcpTimeoutSocket {
        using RkTcpTimeoutSocket::m_pipefds;
        OpenedUp() : RkTcpTimeoutSocket(LONG, LONG, LONG) {}
    } sock, other;
    const int readEnd = other.m_pipefds[0];
    sock.Open();
    other = sock;
    EXPECT_EQ(other.GetHandle(), sock.GetHandle());
    EXPECT_EQ(other.m_pipefds[0], readEnd);
    EXPECT_EQ(::fcntl(readEnd, F_GETFD), FD_CLOEXEC);
    other.Close();
}

TEST(RkSocketConcurrentTest, WakeEndsABlockedReadAndABlockedAccept) {
    RkTcpSocket listener, client, none;
    listener.Bind(RkInetAddress("127.0.0.1", 0));
    listener.Listen(1);
    client.Connect(listener.GetLocalAddress());
    std::latch ready(2);
    std::thread reader([&] {
        char byte;
        ready.count_down();
        EXPECT_EQ(client.Read(&byte, 1), 0);
    });
    std::thread acceptor([&] {
        RkTcpSocket first, second;
        listener.Accept(first);
        ready.count_down();
        EXPECT_THROW(listener.Accept(second), RkNetworkException);
        first.Close();
    });
    ready.wait();
    client.Wake();
    listener.Wake();
    none.Wake();  // nothing to wake
    reader.join();
    acceptor.join();
    client.Close();
    listener.Close();
}

// The woken number must never be a stranger's: his connection would end.
TEST(RkSocketConcurrentTest, WakeNeverHitsTheNextOwnerOfTheNumber) {
    constexpr int ROUNDS = 5000;
    RkTcpSocket sock;
    std::atomic<bool> over{false};
    std::thread waker([&] {
        while (!over)
            sock.Wake();
    });
    for (int i = 0; i < ROUNDS; ++i) {
        const Pair pair;
        sock.SetHandle(pair.Given());
        sock.Close();
        const Pair stranger;  // takes the number
        char byte;
        EXPECT_EQ(::recv(stranger.Given(), &byte, 1, MSG_DONTWAIT), -1);  // 0 once it was shut down
        ::close(stranger.Given());
    }
    over = true;
    waker.join();
}
