#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <future>
#include <numeric>
#include <thread>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSSLSocket.h"
#include "Network/Network/RkSSLTimeoutSocket.h"
#include "examples/StrictTlsSocket.h"
#include "tests/support/CapturingSink.h"
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

size_t OpenDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

}  // namespace

class RkSSLSocketConcurrentTest : public ::testing::Test {
protected:
    RkSSLSocketConcurrentTest() {
        m_listener.Bind(RkInetAddress("127.0.0.1", 0));
        m_listener.Listen(64);
        UseFiles(m_identity);
    }
    ~RkSSLSocketConcurrentTest() override {
        for (RkSocket* socket : {static_cast<RkSocket*>(m_client.get()), static_cast<RkSocket*>(m_server.get()),
                                 static_cast<RkSocket*>(&m_listener)})
            socket->Close();
    }
    /// Both sockets are to take the identity from files.
    void UseFiles(const TestIdentity& identity) {
        identity.Write(m_dir / "tls");
        m_client = FileSocket();
        m_server = FileSocket();
    }
    std::unique_ptr<RkSSLSocket> FileSocket() const {
        return std::make_unique<RkSSLSocket>(m_dir / "tls.key", m_dir / "tls.pem", true);
    }
    std::unique_ptr<RkSSLSocket> ObjectSocket(TestIdentity identity) {
        return std::make_unique<RkSSLSocket>(&identity.cert, &m_trusted, &identity.key);
    }
    /// @return why the client and the server failed to connect; empty where they did not
    Outcome Connect() {
        const RkInetAddress address = m_listener.GetLocalAddress();
        auto connecting = std::async(std::launch::async, [&] { return Failure([&] { m_client->Connect(address); }); });
        m_listener.Accept(*m_server);
        const std::string failure = Failure([&] { m_server->AcceptSocket(); });
        if (!failure.empty())
            m_server->Wake();
        return {connecting.get(), failure};
    }

    TempDir m_dir;
    const TestCA m_ca;
    TestIdentity m_identity = m_ca.Issue();
    kstr::Crypto::StackOf_X509Cert m_trusted = m_ca.Stack();
    RkTcpSocket m_listener;
    std::unique_ptr<RkSSLSocket> m_client, m_server;
};

TEST_F(RkSSLSocketConcurrentTest, ObjectModeLogsTheStepsOfAnAcceptance) {
    m_server = ObjectSocket(m_identity);
    const LogCapture log(kstr::diag::LV_DEBUG);
    EXPECT_EQ(Connect(), Outcome("", ""));
    std::vector<std::string> lines = log->Messages();
    std::erase_if(lines, [](const auto& line) {
        return line.starts_with("SSL Connection using: ECDHE-ECDSA-") || line.find("Peer(Server)") != line.npos;
    });
    EXPECT_THAT(lines, ElementsAre("AcceptSocket", "AcceptSocket before SSL_accept", "AcceptSocket after SSL_accept",
                                   "Received certificate from Peer(Client). Cert Details:\n" +
                                       m_identity.cert.GetCertDetails()));
}

TEST_F(RkSSLSocketConcurrentTest, ObjectModeRefusesStrangers) {
    m_client = ObjectSocket(MakeSelfSigned());
    m_server = ObjectSocket(m_identity);
    const auto [client, server] = Connect();
    EXPECT_THAT(server, AllOf(StartsWith("unable to accept, "), HasSubstr("certificate verify failed")));
    EXPECT_THAT(client, StartsWith("unable to connect using ssl, "));
}

TEST_F(RkSSLSocketConcurrentTest, AStrictClientRefusesWhatTheSocketsDoNotLookAt) {
    const std::pair<TestIdentity, const char*> cases[] = {
        {m_identity, ""},
        {m_ca.Issue({"www.example.com"}), "hostname mismatch"},
        {m_ca.Issue({"localhost", TestCertificate::RSA, -20, -10}), "certificate has expired"},
        {TestCA().Issue(), "certificate signature failure"},  // another authority of the same name
    };
    for (const auto& [identity, failure] : cases) {
        UseFiles(identity);
        m_client = std::make_unique<StrictTlsSocket>(m_trusted, "localhost");
        EXPECT_THAT(Connect().first, HasSubstr(failure));
        EXPECT_EQ(m_client->Write("x", 1), *failure == '\0' ? 1 : -1);
        m_client->Close();
        m_server->Close();
    }
}

TEST_F(RkSSLSocketConcurrentTest, TheChainIsCheckedByTheNewOwnerAfterACopy) {
    const auto client = ObjectSocket(m_identity);
    m_client->Uninit();  // what an assignment overwrites would be lost
    *m_client = *client;
    m_server = std::make_unique<RkSSLSocket>(*ObjectSocket(m_identity));
    EXPECT_EQ(Connect(), Outcome("", ""));
    m_server = std::make_unique<RkSSLSocket>(*m_server);  // and the session goes along
    EXPECT_EQ(m_server->Write("hello", 5), 5);
    char text[5];
    EXPECT_EQ(m_client->Read(text, 5), 5);
}

TEST_F(RkSSLSocketConcurrentTest, TimedTransfersThatTimeOutRestoreTheMode) {
    Connect();
    const LogCapture log(kstr::diag::LV_DEBUG);
    std::string much(64 << 20, 'x');
    m_client->SetNonBlockingMode(true);
    EXPECT_EQ(m_client->Read(much.data(), 1, SHORT), -1);
    EXPECT_TRUE(m_client->GetNonBlockingMode());
    m_client->SetNonBlockingMode(false);
    EXPECT_EQ(m_client->Write(much.data(), much.size(), SHORT), -1);
    EXPECT_FALSE(m_client->GetNonBlockingMode());
    EXPECT_THAT(log->Messages(), ElementsAre("Timed out on SSL_read, timeout is 20 milliseconds",
                                             "Timed out on SSL_write, timeout is 20 milliseconds"));
}

TEST_F(RkSSLSocketConcurrentTest, WhatIsDecryptedAlreadyIsNotWaitedFor) {
    Connect();
    m_client->Write("0123456789", 10);
    char text[10];
    EXPECT_EQ(m_server->Read(text, 1), 1);
    EXPECT_EQ(m_server->Read(text, 9, SHORT), 9);
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

TEST_F(RkSSLSocketConcurrentTest, TwentyMebibytesArriveBothWaysAndEndInOrder) {
    std::string sent(20 << 20, '\0'), got = sent;
    std::iota(sent.begin(), sent.end(), '\0');
    ASSERT_EQ(Connect(), Outcome("", ""));
    std::jthread echo([this, text = got]() mutable {
        m_server->ReadExactly(text.data(), text.size());
        m_server->WriteExactly(text.data(), text.size());
        m_server->Shutdown(SHUT_WR);
    });
    m_client->WriteExactly(sent.data(), sent.size());
    m_client->ReadExactly(got.data(), got.size());
    EXPECT_TRUE(got == sent);
    EXPECT_EQ(m_client->Read(got.data(), 1), 0);
}

TEST_F(RkSSLSocketConcurrentTest, ManyHandshakesAtOnceLeaveNothingBehind) {
    const size_t before = OpenDescriptors();
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 32; ++i)
            threads.emplace_back([this, serves = i % 2 == 0] {
                for (int n = 0; n < 16; ++n) {
                    auto socket = FileSocket();
                    if (serves)
                        m_listener.Accept(*socket);
                    char byte = 'x';
                    EXPECT_EQ(Failure([&] {
                                  serves ? socket->AcceptSocket() : socket->Connect(m_listener.GetLocalAddress());
                              }),
                              "");
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
