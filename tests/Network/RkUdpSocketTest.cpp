#include "Network/Network/RkUdpSocket.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "Network/Network/RkUdpBroadcastSocket.h"
#include "tests/support/MessageOf.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnNetwork.h"

const RkTimePeriod LONG(0, 0, 0, 20);
const RkInetAddress ANY_PORT("127.0.0.1", 0);

/// A socket that its owner closes.
template <class Socket>
struct Owned : Socket {
    explicit Owned(const RkInetAddress& local = ANY_PORT, const RkInetAddress& remote = RkInetAddress())
        : Socket(local, remote) {}
    ~Owned() override { this->Close(); }
};

template <class Socket>
struct RkUdpSocketTest : testing::Test {};
using BothSockets = testing::Types<RkUdpSocket, RkUdpBroadcastSocket>;
TYPED_TEST_SUITE(RkUdpSocketTest, BothSockets);

TYPED_TEST(RkUdpSocketTest, AnswersWhoeverWroteLast) {
    Owned<TypeParam> server, first(ANY_PORT, server.GetLocalAddress()), second(ANY_PORT, server.GetLocalAddress());
    char buffer[16];
    for (auto* client : {&first, &second}) {
        EXPECT_EQ(client->Write("hello", 5), 5);
        EXPECT_EQ(server.Read(buffer, sizeof buffer, LONG), 5);
        EXPECT_EQ(server.GetRemoteAddress(), client->GetLocalAddress());
        EXPECT_EQ(server.Write("back", 4), 4);
        EXPECT_EQ(client->Read(buffer, sizeof buffer, LONG), 4);
    }
}

TYPED_TEST(RkUdpSocketTest, CutsALongDatagramAndKeepsThePeerUnlessBytesCame) {
    Owned<TypeParam> server, client(ANY_PORT, server.GetLocalAddress());
    char buffer[] = "........";
    EXPECT_EQ(server.Read(buffer, 4, RkTimePeriod(0, 0, 0, 0, 20)), 0);  // nothing came in time
    EXPECT_EQ(client.Write("", 0), 0);
    RkInetAddress from;
    EXPECT_EQ(server.ReadFrom(buffer, 4, from), 0);  // an empty datagram has no sender
    EXPECT_EQ(from, RkInetAddress());
    client.Write("0123456789", 10);
    EXPECT_EQ(server.ReadFrom(buffer, 4, from), 4);
    EXPECT_STREQ(buffer, "0123....");
    EXPECT_EQ(from, client.GetLocalAddress());
    server.Close();
    EXPECT_EQ(server.Read(buffer, 4, LONG), -1);
    EXPECT_EQ(server.GetRemoteAddress(), RkInetAddress());
}

TYPED_TEST(RkUdpSocketTest, RefusesATakenPortAndLeavesNothingOpenAndRefusesIPv6) {
    Owned<TypeParam> holder;
    const auto before = OpenDescriptors();
    EXPECT_EQ(FailureOf([&] { Owned<TypeParam>{holder.GetLocalAddress()}; }), "Bind failed: 98");  // EADDRINUSE
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_THROW(holder.WriteTo(RkInetAddress("::1", 9), "x", 1), RkNetworkException);
}

TYPED_TEST(RkUdpSocketTest, ResetBindsTheSameAddressAnew) {
    Owned<TypeParam> finder;
    const RkInetAddress local = finder.GetLocalAddress();
    finder.Close();
    Owned<TypeParam> socket(local);
    socket.Reset();
    EXPECT_TRUE(socket.IsOpen());
    EXPECT_EQ(socket.GetLocalAddress(), local);
    EXPECT_FALSE(socket.GetBoolSocketOption(RkSocket::REUSEADDR_SOCK_OPT));
}

TEST(RkUdpBroadcastSocketTest, ReachesEveryListenerOfItsNetwork) {
    RunInOwnNetwork([] {
        const RkInetAddress any("0.0.0.0", 0);
        Owned<RkUdpSocket> listener(any), plain(any);
        Owned<RkUdpBroadcastSocket> caller(any);
        const RkInetAddress everyone("255.255.255.255", listener.GetLocalAddress().GetPort());
        EXPECT_EQ(plain.WriteTo(everyone, "x", 1), -1);
        EXPECT_EQ(errno, EACCES);
        EXPECT_EQ(caller.WriteTo(everyone, "hello", 5), 5);
        char buffer[16];
        EXPECT_EQ(listener.Read(buffer, sizeof buffer, LONG), 5);
        EXPECT_EQ(listener.GetRemoteAddress().GetPort(), caller.GetLocalAddress().GetPort());
        return 0;
    });
}
