#include "Network/Network/RkTcpSocket.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>

#include "Base/RkIO.h"
#include "Network/Network/RkTcpTimeoutSocket.h"
#include "tests/support/DescriptorLimit.h"
#include "tests/support/MessageOf.h"
#include "tests/support/ScriptedPeer.h"

using testing::ElementsAre, testing::StartsWith;

const RkInetAddress LOOPBACK("127.0.0.1", 0);
const RkTimePeriod NO_LIMIT;
const RkTimePeriod SHORT(0, 0, 0, 0, 20);
const RkTimePeriod LONG(0, 0, 1);

/// Opens sockets for a test and closes them after it.
struct RkTcpSocketTest : testing::Test {
    ~RkTcpSocketTest() override {
        for (RkTcpSocket* sock : {&m_listener, &m_client, &m_server})
            sock->Close();
    }

    void Listen() {
        m_listener.Bind(LOOPBACK);
        m_listener.Listen(8);
    }

    void ConnectPair() {
        Listen();
        m_client.Connect(m_listener.GetLocalAddress(), LONG);
        ASSERT_TRUE(m_listener.Accept(m_server, NO_LIMIT));
    }

    std::string Read(RkTcpSocket& sock) {
        char data[64];
        const ssize_t count = sock.Read(data, sizeof data, LONG);
        return count < 0 ? "error" : std::string(data, static_cast<std::size_t>(count));
    }

    RkTcpSocket m_listener, m_client, m_server;
};

/// Writes down which hooks closing calls.
struct HookedSocket : RkTcpSocket {
    RkErrorCode CloseSocket() override { return calls.push_back("close"), RkTcpSocket::CloseSocket(); }
    void SetHandle(SOCKET sock) override {
        calls.push_back(sock == -1 ? "none" : "handle");
        RkTcpSocket::SetHandle(sock);
    }
    std::vector<std::string> calls;
};

TEST_F(RkTcpSocketTest, CarriesBytesBothWaysAndEndsInOrder) {
    ConnectPair();
    m_client.WriteExactly("ping", 4);
    EXPECT_EQ(Read(m_server), "ping");
    EXPECT_EQ(m_server.ShutdownSocket(), 0);
    EXPECT_EQ(Read(m_client), "");
    m_client.WriteUInt32(7);  // the other direction still works
    EXPECT_EQ(m_server.ReadUInt32(), 7u);
    EXPECT_EQ(m_server.GetRemoteAddress(), m_client.GetLocalAddress());
    for (RkTcpSocket* sock : {&m_listener, &m_client, &m_server})
        EXPECT_EQ(::fcntl(sock->GetHandle(), F_GETFD), FD_CLOEXEC);
}

TEST_F(RkTcpSocketTest, ClosesThroughItsHooksAndOnlyOnce) {
    HookedSocket sock;
    sock.Close();
    EXPECT_EQ(sock.ShutdownSocket(), 0);
    sock.Open();
    sock.Open();
    sock.Close();
    sock.CloseForce();
    EXPECT_THAT(sock.calls, ElementsAre("handle", "close", "none"));
}

TEST_F(RkTcpSocketTest, FailuresTellTheSystemsNumber) {
    Listen();
    RkTcpSocket other(m_listener.GetLocalAddress(), false), bad;
    const int closed = ::dup(0);
    ::close(closed);
    bad.SetHandle(closed);
    EXPECT_EQ(FailureOf([&] { other.Bind(); }), "Bind failed: 98");  // EADDRINUSE
    other.Close();
    EXPECT_EQ(FailureOf([&] { bad.Listen(1); }), "Listen failed: 9");  // EBADF
    EXPECT_EQ(FailureOf([&] { bad.Accept(other); }), "Accept() failed: 9");
    EXPECT_EQ(FailureOf([&] { bad.Accept(other, SHORT); }), "Select() failed in Accept(): 9");
    EXPECT_EQ(FailureOf([&] { bad.SetNagleEnabled(true); }), "setsockopt(IPPROTO_TCP, TCP_NODELAY) failed: 9");
    EXPECT_EQ(FailureOf([&] { bad.SetNonBlockingMode(true); }), "fcntl F_GETFL failed: 9");
    EXPECT_EQ(FailureOf([&] { bad.RkSocket::Open(-1, 0, true); }), "::socket() failed 22");  // EINVAL
    EXPECT_EQ(bad.SetBoolSocketOption(RkSocket::KEEPALIVE_SOCK_OPT, true), -1);
    EXPECT_EQ(bad.GetRemoteAddress().ToString(), "0.0.0.0");
    EXPECT_EQ(Read(bad), "");  // a failed wait reads as a time-out
}

TEST_F(RkTcpSocketTest, ConnectFailuresLeaveTheSocketClosed) {
    const StuckListener stuck;
    const RkInetAddress unused = UnusedAddress();
    EXPECT_EQ(FailureOf([&] { m_client.Connect(unused); }), "Connect failed: 111");  // ECONNREFUSED
    EXPECT_FALSE(m_client.IsOpen());
    EXPECT_EQ(FailureOf([&] { m_client.Connect(unused, LONG); }), "Connect failed: 111");
    EXPECT_FALSE(m_client.IsOpen());
    EXPECT_THAT(FailureOf([&] { m_client.Connect(stuck.Address(), SHORT); }), StartsWith("Connect timed out: "));
    EXPECT_FALSE(m_client.IsOpen());
    RkTcpTimeoutSocket timed(LONG, LONG, LONG);
    timed.SetConnectTimeout(SHORT);
    EXPECT_THAT(FailureOf([&] { timed.Connect(stuck.Address()); }), StartsWith("Connect timed out: "));
    EXPECT_THROW(m_client.Connect(RkInetAddress("::1", 80), LONG), RkNetworkException);
    EXPECT_FALSE(m_client.IsOpen());
}

TEST_F(RkTcpSocketTest, TimedConnectKeepsTheBlockingMode) {
    Listen();
    for (const bool nonBlocking : {true, false}) {
        m_client.SetNonBlockingMode(nonBlocking);  // opens a closed socket
        m_client.Connect(m_listener.GetLocalAddress(), NO_LIMIT);
        EXPECT_EQ(m_client.GetNonBlockingMode(), nonBlocking);
        EXPECT_EQ((::fcntl(m_client.GetHandle(), F_GETFL) & O_NONBLOCK) != 0, nonBlocking);
        m_client.Reset();
        EXPECT_FALSE(m_client.GetNonBlockingMode());
    }
}

TEST_F(RkTcpSocketTest, TimedCallsGiveUp) {
    ConnectPair();
    char data[4096] = {};
    EXPECT_EQ(m_server.Read(data, sizeof data, SHORT), 0);
    EXPECT_FALSE(m_listener.Accept(m_server, SHORT));
    m_client.SetNonBlockingMode(true);
    while (m_client.Write(data, sizeof data) > 0) {}
    EXPECT_EQ(m_client.Write(data, sizeof data, SHORT), 0);
    m_client.Close();
    EXPECT_EQ(m_client.Read(data, sizeof data, LONG), -1);
    EXPECT_EQ(m_client.Write(data, sizeof data, NO_LIMIT), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(RkTcpSocketTest, TimedWriteOnABlockingSocketTakesAllOfIt) {
    ConnectPair();
    const std::string sent(8 << 20, 'x');  // more than the system's buffers hold
    std::jthread peer([this] {
        char data[65536];
        while (m_server.Read(data, sizeof data, LONG) > 0) {}
    });
    EXPECT_EQ(m_client.Write(sent.data(), sent.size(), LONG), static_cast<ssize_t>(sent.size()));
    m_client.Shutdown(SHUT_WR);
}

TEST_F(RkTcpSocketTest, CloseForceResetsTheConnectionAndSendingIsAnErrorThen) {
    ConnectPair();
    m_server.CloseForce();
    EXPECT_FALSE(m_server.IsOpen());
    EXPECT_EQ(Read(m_client), "error");
    EXPECT_EQ(m_client.Write("x", 1, LONG), -1);  // not a signal
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(RkIO::SendTo(m_client.GetHandle(), "x", 1, 0, nullptr, 0), -1);
}

TEST_F(RkTcpSocketTest, CopyHasNoHandleAndResetAlwaysReusesTheAddress) {
    RkTcpSocket original(LOOPBACK, true);
    original.Bind();
    RkTcpSocket copy(original), alias;
    alias = original;
    EXPECT_FALSE(copy.IsOpen());
    EXPECT_EQ(alias.GetHandle(), original.GetHandle());
    copy.Bind();
    EXPECT_EQ(copy.GetLocalAddress().GetIpAddress(false), 0x7F000001u);
    EXPECT_FALSE(copy.GetBoolSocketOption(RkSocket::REUSEADDR_SOCK_OPT));
    copy.Reset();
    EXPECT_TRUE(copy.GetBoolSocketOption(RkSocket::REUSEADDR_SOCK_OPT));
    copy.SetBoolSocketOption(RkSocket::REUSEADDR_SOCK_OPT, false);
    EXPECT_FALSE(copy.GetBoolSocketOption(RkSocket::REUSEADDR_SOCK_OPT));
    copy.Close();
    original.Close();
}

TEST_F(RkTcpSocketTest, WorksWithDescriptorsAboveTheFixedSetSize) {
    EXPECT_TRUE(PassesWithDescriptorLimit(20000, "RkHighTcpSocketTest.*"));
}

using RkHighTcpSocketTest = RkTcpSocketTest;
TEST_F(RkHighTcpSocketTest, DISABLED_EveryWaitWorks) {
    std::vector<int> low;  // take all low numbers
    for (int fd = 0; (fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) < 5000;)
        low.push_back(fd);
    RkTcpTimeoutSocket timed(LONG, SHORT, SHORT);
    ConnectPair();
    ASSERT_GT(m_client.GetHandle(), 5000);
    timed.Connect(m_listener.GetLocalAddress());
    char byte = 'x';
    EXPECT_EQ(m_client.Write(&byte, 1, LONG), 1);
    EXPECT_EQ(Read(m_server), "x");
    EXPECT_EQ(timed.Read(&byte, 1), 0);
    timed.Close();
    EXPECT_EQ(timed.Read(&byte, 1), -1);
}
