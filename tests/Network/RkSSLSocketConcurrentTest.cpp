#include <gmock/gmock.h>

#include <future>
#include <numeric>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSSLSocket.h"
#include "Network/Network/RkSSLTimeoutSocket.h"
#include "examples/StrictTlsSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/InThreads.h"
#include "tests/support/MessageOf.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using testing::AllOf, testing::ElementsAre, testing::HasSubstr, testing::StartsWith;
using namespace std::chrono_literals;

const RkTimePeriod SHORT(0, 0, 0, 0, 20), LONG(0, 0, 1);

using Outcome = std::pair<std::string, std::string>;

/// Passes on at most so many bytes, in pieces of changing size, and then the end of the stream.
void Pass(PlainConnection& from, PlainConnection& to, size_t most) {
    constexpr size_t SIZES[] = {40000, 1, 5, 16000, 3, 20000};
    size_t next = 0;
    for (std::string text; most > 0 && !(text = from.Read()).empty();)
        for (size_t at = 0, size = 0; at < text.size() && most > 0; at += size, most -= size) {
            size = std::min({SIZES[next++ % std::size(SIZES)], text.size() - at, most});
            to.Write(text.substr(at, size));
        }
    to.ShutdownWrite();
}

/// Passes a connection on to a server until `limit` bytes went there; then it resets the client's end.
ScriptedPeer::Script Relay(RkUInt16 server, size_t limit) {
    return [=](PlainConnection& client) {
        TestClient peer(server);
        std::jthread back([&] { Pass(peer, client, SIZE_MAX); });
        Pass(client, peer, limit);
        back.join();
        client.Reset();
    };
}

struct RkSSLSocketConcurrentTest : testing::Test {
    RkSSLSocketConcurrentTest() {
        m_identity.Write(m_dir / "tls");
        m_listener.Bind(RkInetAddress("127.0.0.1", 0));
        m_listener.Listen(64);
    }
    ~RkSSLSocketConcurrentTest() override {
        Close();
        m_listener.Close();
    }

    std::unique_ptr<RkSSLSocket> FileSocket() const {
        return std::make_unique<RkSSLSocket>(m_dir / "tls.key", m_dir / "tls.pem", true);
    }
    std::unique_ptr<RkSSLSocket> ObjectSocket() {
        return std::make_unique<RkSSLSocket>(&m_identity.cert, &m_trusted, &m_identity.key);
    }
    RkInetAddress Address() { return m_listener.GetLocalAddress(); }

    /// Connects two sockets, which the test's end closes. @return why client and server failed; empty where they did not
    Outcome Connect(std::unique_ptr<RkSSLSocket> client, std::unique_ptr<RkSSLSocket> server) {
        Close();
        m_client = std::move(client);
        m_server = std::move(server);
        auto connecting =
            std::async(std::launch::async, [&] { return MessageOf([&] { m_client->Connect(Address()); }); });
        m_listener.Accept(*m_server);
        const std::string failure = MessageOf([&] { m_server->AcceptSocket(); });
        if (!failure.empty())
            m_server->Wake();
        return {connecting.get(), failure};
    }
    void Connect() { ASSERT_EQ(Connect(FileSocket(), FileSocket()), Outcome("", "")); }
    void Close() {
        for (const auto* socket : {&m_client, &m_server})
            if (*socket)
                (*socket)->Close();
    }

    TempDir m_dir;
    const TestCA m_ca;
    TestIdentity m_identity = m_ca.Issue();
    kstr::Crypto::StackOf_X509Cert m_trusted = m_ca.Stack();
    RkTcpSocket m_listener;
    std::unique_ptr<RkSSLSocket> m_client, m_server;
};

TEST_F(RkSSLSocketConcurrentTest, ObjectModeLogsTheStepsOfAnAcceptance) {
    auto server = ObjectSocket();
    const LogCapture log(kstr::diag::LV_DEBUG);
    EXPECT_EQ(Connect(FileSocket(), std::move(server)), Outcome("", ""));
    std::vector<std::string> lines = log->Messages();
    const auto ofTheClientOrBoth = [](const std::string& line) {
        return line.find("Peer(Server)") != line.npos || line.starts_with("SSL Connection using: ECDHE-ECDSA-");
    };
    EXPECT_EQ(std::erase_if(lines, ofTheClientOrBoth), 3u);
    EXPECT_THAT(lines, ElementsAre("AcceptSocket", "AcceptSocket before SSL_accept", "AcceptSocket after SSL_accept",
                                   "Received certificate from Peer(Client). Cert Details:\n" +
                                       m_identity.cert.GetCertDetails()));
}

TEST_F(RkSSLSocketConcurrentTest, ObjectModeRefusesStrangers) {
    TestIdentity stranger = MakeSelfSigned();
    const auto [clientFailure, serverFailure] =
        Connect(std::make_unique<RkSSLSocket>(&stranger.cert, &m_trusted, &stranger.key), ObjectSocket());
    EXPECT_THAT(serverFailure, AllOf(StartsWith("unable to accept, "), HasSubstr("certificate verify failed")));
    EXPECT_THAT(clientFailure, StartsWith("unable to connect using ssl, "));
}

TEST_F(RkSSLSocketConcurrentTest, AStrictClientRefusesWhatTheSocketsDoNotLookAt) {
    const std::pair<TestIdentity, std::string> cases[] = {
        {m_ca.Issue({"localhost"}), ""},
        {m_ca.Issue({"www.example.com"}), "hostname mismatch"},
        {m_ca.Issue({"localhost", TestCertificate::RSA, -20, -10}), "certificate has expired"},
        {m_ca.Issue({"localhost", TestCertificate::ECDSA, 100, 200}), "certificate is not yet valid"},
        {MakeSelfSigned(), "self-signed certificate"},
        {TestCA().Issue(), "certificate signature failure"},  // another authority of the same name
    };
    for (const auto& [server, failure] : cases) {
        server.Write(m_dir / "tls");
        const auto outcome = Connect(std::make_unique<StrictTlsSocket>(m_trusted, "localhost"), FileSocket());
        EXPECT_THAT(outcome.first, HasSubstr(failure));
        EXPECT_EQ(m_client->Write("x", 1), failure.empty() ? 1 : -1);
    }
}

TEST_F(RkSSLSocketConcurrentTest, TheChainIsCheckedByTheNewOwnerAfterACopy) {
    auto source = ObjectSocket(), assigned = FileSocket();
    assigned->Uninit();  // what an assignment overwrites would be lost
    *assigned = *source;
    source = ObjectSocket();
    auto copy = std::make_unique<RkSSLSocket>(*source);
    source.reset();
    EXPECT_EQ(Connect(std::move(assigned), std::move(copy)), Outcome("", ""));
    m_server = std::make_unique<RkSSLSocket>(*m_server);  // and the session goes along
    EXPECT_EQ(m_server->Write("hello", 5), 5);
    char text[5];
    EXPECT_EQ(m_client->Read(text, 5), 5);
}

TEST_F(RkSSLSocketConcurrentTest, TimedTransfersTakeWhatIsDecryptedAndRestoreTheModeWhenTheyTimeOut) {
    Connect();
    std::string much(64 << 20, 'x');
    m_client->Write("0123456789", 10);
    EXPECT_EQ(m_server->Read(much.data(), 1), 1);
    EXPECT_EQ(m_server->Read(much.data(), 9, SHORT), 9) << "all of it is decrypted already";
    const LogCapture log(kstr::diag::LV_DEBUG);
    for (const bool nonBlocking : {false, true}) {
        m_client->SetNonBlockingMode(nonBlocking);
        EXPECT_EQ(m_client->Read(much.data(), 1, SHORT), -1);
        EXPECT_EQ(m_client->GetNonBlockingMode(), nonBlocking);
    }
    EXPECT_EQ(m_client->Write(much.data(), much.size(), SHORT), -1);
    const std::string line = "Timed out on SSL_read, timeout is 20 milliseconds";
    EXPECT_THAT(log->Messages(), ElementsAre(line, line, "Timed out on SSL_write, timeout is 20 milliseconds"));
}

TEST_F(RkSSLSocketConcurrentTest, ASessionIsNotUsedOnceItsDescriptorIsClosed) {
    Connect();
    m_client->Close();
    char byte = 0;
    EXPECT_EQ(m_client->Write("x", 1), -1) << "the number may be somebody else's";
    EXPECT_EQ(m_client->Read(&byte, 1, SHORT), -1);
    EXPECT_FALSE(m_client->IsOpen());
    m_server->CloseForce();
    EXPECT_THROW(m_server->Read(&byte, 1), RkNetworkException) << "CloseForce releases the session";
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
    std::string sent(20 << 20, '\0'), got = sent;
    std::iota(sent.begin(), sent.end(), '\0');
    const ScriptedPeer relay(Relay(Address().GetPort(), SIZE_MAX));
    RkSSLTimeoutSocket client(m_dir / "tls.key", m_dir / "tls.pem", LONG, LONG, LONG);
    std::jthread echo([this, text = got]() mutable {
        RkSSLTimeoutSocket server(m_dir / "tls.key", m_dir / "tls.pem", LONG, LONG, LONG);
        m_listener.Accept(server);
        server.AcceptSocket();
        server.ReadExactly(text.data(), text.size());
        server.WriteExactly(text.data(), text.size());
        server.Shutdown(SHUT_WR);
        server.Close();
    });
    client.Connect(relay.Address());
    client.WriteExactly(sent.data(), sent.size());
    client.ReadExactly(got.data(), got.size());
    EXPECT_TRUE(got == sent);
    EXPECT_EQ(client.Read(got.data(), 1), 0);
    client.Close();
}

TEST_F(RkSSLSocketConcurrentTest, AConnectionMayBeCutAnywhere) {
    const std::string text(10000, 'x');
    for (const size_t limit : {1u, 200u, 300u, 5000u, 300000u}) {
        const ScriptedPeer relay(Relay(Address().GetPort(), limit));
        const auto client = FileSocket(), server = FileSocket();
        std::jthread serving([&] {
            m_listener.Accept(*server);
            char got[1000];
            if (MessageOf([&] { server->AcceptSocket(); }).empty())
                while (server->Read(got, sizeof got, LONG) > 0) {}
            server->Close();
        });
        if (MessageOf([&] { client->Connect(relay.Address()); }).empty())
            while (client->Write(text.data(), text.size(), LONG) > 0) {}
        client->Close();
    }
}

TEST_F(RkSSLSocketConcurrentTest, ManyHandshakesAtOnceLeaveNothingBehind) {
    const auto before = OpenDescriptors();
    InThreads(32, [this](int id) {
        const bool serves = id % 2 == 0;
        for (int n = 0; n < 16; ++n) {
            auto socket = FileSocket();
            if (serves)
                m_listener.Accept(*socket);
            char byte = 'x';
            EXPECT_EQ(MessageOf([&] { serves ? socket->AcceptSocket() : socket->Connect(Address()); }), "");
            EXPECT_EQ(serves ? socket->Write(&byte, 1) : socket->Read(&byte, 1), 1);
            socket->Close();
        }
    });
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(RkSSLSocketConcurrentTest, ConnectIgnoresTheConnectTimeout) {
    const StuckListener stuck;
    RkSSLTimeoutSocket client(m_dir / "tls.key", m_dir / "tls.pem", SHORT, SHORT, SHORT);
    client.SetConnectTimeout(RkTimePeriod(0, 0, 0, 0, 1));
    auto connecting =
        std::async(std::launch::async, [&] { return MessageOf([&] { client.Connect(stuck.Address()); }); });
    EXPECT_EQ(connecting.wait_for(50ms), std::future_status::timeout);
    client.Wake();
    EXPECT_THAT(connecting.get(), StartsWith("Connect failed: "));
}
