#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <functional>
#include <future>
#include <numeric>
#include <thread>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSSLSocket.h"
#include "Network/Network/RkSSLTimeoutSocket.h"
#include "examples/StrictTlsSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

const RkTimePeriod SHORT(0, 0, 0, 0, 20), LONG(0, 0, 1);

std::string Failure(const std::function<void()>& action) {
    try {
        action();
        return "";
    } catch (const RkNetworkException& e) {
        return e.what();
    }
}

using Outcome = std::pair<std::string, std::string>;

/// Passes a connection on to another address, in pieces of changing size, until `limit` bytes went to the server; then it
/// resets both ends.
class Relay {
public:
    Relay(const RkInetAddress& server, size_t limit)
        : m_peer([this, server, limit](ScriptedPeer::Connection& client) {
              m_server.Connect(server);
              std::thread back([&] {
                  char piece[40000];
                  for (ssize_t count; (count = m_server.Read(piece, NextSize())) > 0;)
                      client.Write({piece, static_cast<size_t>(count)});
                  client.ShutdownWrite();
              });
              size_t passed = 0;
              for (std::string text; passed < limit && !(text = client.Read()).empty(); passed += text.size())
                  for (size_t at = 0, size = 0; at < text.size(); at += size)
                      m_server.WriteExactly(text.data() + at, size = std::min(NextSize(), text.size() - at));
              if (passed < limit)
                  m_server.ShutdownSocket();
              else
                  m_server.Wake();
              back.join();
              client.Reset();
              m_server.CloseForce();
          }) {}

    RkInetAddress Address() const { return m_peer.Address(); }

private:
    size_t NextSize() { return SIZES[m_next++ % std::size(SIZES)]; }

    static constexpr size_t SIZES[] = {40000, 1, 5, 16000, 3, 20000};
    std::atomic<size_t> m_next = 0;
    RkTcpSocket m_server;
    ScriptedPeer m_peer;  ///< last: its thread uses all the others
};

}  // namespace

class RkSSLSocketConcurrentTest : public ::testing::Test {
protected:
    RkSSLSocketConcurrentTest() {
        m_identity.Write(m_dir / "tls");
        m_listener.Bind(RkInetAddress("127.0.0.1", 0));
        m_listener.Listen(64);
    }
    ~RkSSLSocketConcurrentTest() override { m_listener.Close(); }

    std::unique_ptr<RkSSLSocket> FileSocket() const {
        return std::make_unique<RkSSLSocket>(m_dir / "tls.key", m_dir / "tls.pem", true);
    }
    std::unique_ptr<RkSSLSocket> ObjectSocket() {
        return std::make_unique<RkSSLSocket>(&m_identity.cert, &m_trusted, &m_identity.key);
    }
    RkInetAddress Address() { return m_listener.GetLocalAddress(); }

    /// Connects `client` with `server`. @return why the client and the server failed; empty where they did not
    Outcome Connect(RkSSLSocket& client, RkSSLSocket& server) {
        auto connecting = std::async(std::launch::async, [&] { return Failure([&] { client.Connect(Address()); }); });
        m_listener.Accept(server);
        const std::string failure = Failure([&] { server.AcceptSocket(); });
        if (!failure.empty())
            server.Wake();
        return {connecting.get(), failure};
    }
    static void Close(RkSocket& one, RkSocket& other) {
        one.Close();
        other.Close();
    }

    TempDir m_dir;
    const TestCA m_ca;
    TestIdentity m_identity = m_ca.Issue();
    kstr::Crypto::StackOf_X509Cert m_trusted = m_ca.Stack();
    RkTcpSocket m_listener;
};

TEST_F(RkSSLSocketConcurrentTest, ObjectModeLogsTheStepsOfAnAcceptance) {
    const LogCapture log(kstr::diag::LV_DEBUG);
    auto client = FileSocket(), server = ObjectSocket();
    log->Clear();
    EXPECT_EQ(Connect(*client, *server), Outcome("", ""));
    std::vector<std::string> lines = log->Messages();
    EXPECT_EQ(
        std::erase_if(lines, [](const auto& line) { return line.starts_with("SSL Connection using: ECDHE-ECDSA-"); }),
        2u);
    EXPECT_EQ(std::erase_if(lines, [](const auto& line) { return line.find("Peer(Server)") != line.npos; }), 1u);
    EXPECT_THAT(lines, ElementsAre("AcceptSocket", "AcceptSocket before SSL_accept", "AcceptSocket after SSL_accept",
                                   "Received certificate from Peer(Client). Cert Details:\n" +
                                       m_identity.cert.GetCertDetails()));
    Close(*client, *server);
}

TEST_F(RkSSLSocketConcurrentTest, ObjectModeRefusesStrangers) {
    TestIdentity stranger = MakeSelfSigned();
    RkSSLSocket client(&stranger.cert, &m_trusted, &stranger.key);
    auto server = ObjectSocket();
    const auto [clientFailure, serverFailure] = Connect(client, *server);
    EXPECT_THAT(serverFailure, AllOf(StartsWith("unable to accept, "), HasSubstr("certificate verify failed")));
    EXPECT_THAT(clientFailure, StartsWith("unable to connect using ssl, "));
    Close(client, *server);
}

TEST_F(RkSSLSocketConcurrentTest, AStrictClientRefusesWhatTheSocketsDoNotLookAt) {
    const struct {
        TestIdentity server;
        const char* failure;
    } cases[] = {
        {m_ca.Issue({"localhost"}), ""},
        {m_ca.Issue({"www.example.com"}), "hostname mismatch"},
        {m_ca.Issue({"localhost", TestCertificate::RSA, -20, -10}), "certificate has expired"},
        {m_ca.Issue({"localhost", TestCertificate::ECDSA, 100, 200}), "certificate is not yet valid"},
        {MakeSelfSigned(), "self-signed certificate"},
        {TestCA().Issue(), "certificate signature failure"},  // another authority of the same name
    };
    for (const auto& c : cases) {
        c.server.Write(m_dir / "tls");
        auto server = FileSocket();
        StrictTlsSocket client(m_trusted, "localhost");
        EXPECT_THAT(Connect(client, *server).first, HasSubstr(c.failure)) << "row " << &c - cases;
        EXPECT_EQ(client.Write("x", 1), *c.failure == '\0' ? 1 : -1);
        Close(client, *server);
    }
}

TEST_F(RkSSLSocketConcurrentTest, TheChainIsCheckedByTheNewOwnerAfterACopy) {
    auto clientSource = ObjectSocket(), serverSource = ObjectSocket(), assigned = FileSocket();
    RkSSLSocket server(*serverSource);
    serverSource.reset();
    assigned->Uninit();  // what an assignment overwrites would be lost
    *assigned = *clientSource;
    clientSource.reset();
    EXPECT_EQ(Connect(*assigned, server), Outcome("", ""));
    RkSSLSocket again(server);  // and the session goes along
    EXPECT_EQ(again.Write("hello", 5), 5);
    char text[5];
    EXPECT_EQ(assigned->Read(text, 5), 5);
    Close(*assigned, again);
}

TEST_F(RkSSLSocketConcurrentTest, TimedTransfersThatTimeOutRestoreTheMode) {
    auto client = FileSocket(), server = FileSocket();
    Connect(*client, *server);
    const LogCapture log(kstr::diag::LV_DEBUG);
    std::string much(64 << 20, 'x');
    for (const bool nonBlocking : {false, true}) {
        client->SetNonBlockingMode(nonBlocking);
        EXPECT_EQ(client->Read(much.data(), 1, SHORT), -1);
        EXPECT_EQ(client->GetNonBlockingMode(), nonBlocking);
    }
    EXPECT_EQ(client->Write(much.data(), much.size(), SHORT), -1);
    const std::string line = "Timed out on SSL_read, timeout is 20 milliseconds";
    EXPECT_THAT(log->Messages(), ElementsAre(line, line, "Timed out on SSL_write, timeout is 20 milliseconds"));
    Close(*client, *server);
}

TEST_F(RkSSLSocketConcurrentTest, WhatIsDecryptedAlreadyIsNotWaitedFor) {
    auto client = FileSocket(), server = FileSocket();
    Connect(*client, *server);
    client->Write("0123456789", 10);
    char text[10];
    EXPECT_EQ(server->Read(text, 1), 1);
    EXPECT_EQ(server->Read(text, 9, SHORT), 9);
    Close(*client, *server);
}

TEST_F(RkSSLSocketConcurrentTest, ASessionIsNotUsedOnceItsDescriptorIsClosed) {
    auto client = FileSocket(), server = FileSocket();
    Connect(*client, *server);
    client->Close();
    char byte = 0;
    EXPECT_EQ(client->Write("x", 1), -1) << "the number may be somebody else's";
    EXPECT_EQ(client->Read(&byte, 1, SHORT), -1);
    EXPECT_FALSE(client->IsOpen());
    server->CloseForce();
    EXPECT_THROW(server->Read(&byte, 1), RkNetworkException) << "CloseForce releases the session";
}

TEST_F(RkSSLSocketConcurrentTest, WakeDoesNotWaitForACloseNotification) {
    struct Stuck : RkSSLSocket {
        using RkSSLSocket::RkSSLSocket;
        RkErrorCode Shutdown(int) override {  // as if the notification found no room
            m_waker = std::async(std::launch::async, [this] { Wake(); });
            return m_waker.wait_for(10s) == std::future_status::ready ? 0 : -1;
        }
        std::future<void> m_waker;
    } socket(m_dir / "tls.key", m_dir / "tls.pem", true);
    socket.Open();
    EXPECT_EQ(socket.ShutdownSocket(), 0);
    socket.Close();
}

TEST_F(RkSSLSocketConcurrentTest, TwentyMebibytesEachWayArriveInPieces) {
    std::string sent(20 << 20, '\0');
    std::iota(sent.begin(), sent.end(), '\0');
    const Relay relay(Address(), SIZE_MAX);
    RkSSLTimeoutSocket client(m_dir / "tls.key", m_dir / "tls.pem", LONG, LONG, LONG);
    auto echo = std::async(std::launch::async, [&] {
        RkSSLTimeoutSocket server(m_dir / "tls.key", m_dir / "tls.pem", LONG, LONG, LONG);
        m_listener.Accept(server);
        server.AcceptSocket();
        std::string got(sent.size(), '\0');
        server.ReadExactly(got.data(), got.size());
        server.WriteExactly(got.data(), got.size());
        server.Shutdown(SHUT_WR);
        server.Close();
    });
    client.Connect(relay.Address());
    client.WriteExactly(sent.data(), sent.size());
    std::string got(sent.size(), '\0');
    client.ReadExactly(got.data(), got.size());
    EXPECT_TRUE(got == sent);
    EXPECT_EQ(client.Read(got.data(), 1), 0);
    echo.get();
    client.Close();
}

TEST_F(RkSSLSocketConcurrentTest, AConnectionMayBeCutAnywhere) {
    for (const size_t limit : {1, 200, 300, 5000, 300000}) {
        const Relay relay(Address(), limit);
        auto client = FileSocket(), server = FileSocket();
        auto serving = std::async(std::launch::async, [&] {
            m_listener.Accept(*server);
            char text[1000];
            if (Failure([&] { server->AcceptSocket(); }).empty())
                while (server->Read(text, sizeof text, LONG) > 0) {}
            server->Close();
        });
        if (Failure([&] { client->Connect(relay.Address()); }).empty()) {
            const std::string text(10000, 'x');
            while (client->Write(text.data(), text.size(), LONG) > 0) {}
        }
        serving.get();
        client->Close();
    }
}

TEST_F(RkSSLSocketConcurrentTest, ManyHandshakesAtOnceLeaveNothingBehind) {
    const auto before = OpenDescriptors();
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 32; ++i)
            threads.emplace_back([this, serves = i % 2 == 0] {
                for (int n = 0; n < 16; ++n) {
                    auto socket = FileSocket();
                    if (serves)
                        m_listener.Accept(*socket);
                    char byte = 'x';
                    EXPECT_EQ(Failure([&] { serves ? socket->AcceptSocket() : socket->Connect(Address()); }), "");
                    EXPECT_EQ(serves ? socket->Write(&byte, 1) : socket->Read(&byte, 1), 1);
                    socket->Close();
                }
            });
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(RkSSLSocketConcurrentTest, ConnectIgnoresTheConnectTimeout) {
    const StuckListener stuck;
    RkSSLTimeoutSocket client(m_dir / "tls.key", m_dir / "tls.pem", SHORT, SHORT, SHORT);
    client.SetConnectTimeout(RkTimePeriod(0, 0, 0, 0, 1));
    auto connecting = std::async(std::launch::async, [&] { return Failure([&] { client.Connect(stuck.Address()); }); });
    EXPECT_EQ(connecting.wait_for(50ms), std::future_status::timeout);
    client.Wake();
    EXPECT_THAT(connecting.get(), StartsWith("Connect failed: "));
}
