#include "Crypto/SSLConnection.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <future>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Base/BasicException.h"
#include "Crypto/SSLContext.h"
#include "tests/support/TestCertificates.h"

using kstr::BasicException;
using kstr::Crypto::SSLConnection;
using kstr::Crypto::SSLContext;
using kstr::Crypto::X509StoreContext;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

std::unique_ptr<SSLContext> NewContext() {
    auto context = SSLContext::Create(SSLContext::Method::TLSV12);
    context->SetCipherString("TLSv1.2+ECDSA:AES256-SHA256");
    return context;
}

std::unique_ptr<SSLContext> ServerContext(const TestIdentity& identity) {
    auto context = NewContext();
    context->UseCert(identity.cert);
    context->UsePrivateKey(identity.key);
    return context;
}

std::unique_ptr<SSLContext> ServerContext() {
    static const TestIdentity identity = MakeSelfSigned();
    return ServerContext(identity);
}

std::string WhyNot(const std::function<void()>& action) {
    try {
        action();
        return "";
    } catch (const BasicException& e) {
        EXPECT_EQ(ERR_peek_error(), 0u) << "the queue is left empty";
        return e.GetMessage();
    }
}

}  // namespace

class SSLConnectionConcurrentTest : public ::testing::Test {
protected:
    ~SSLConnectionConcurrentTest() override { Close(); }

    /// Makes two sessions, not yet connected, over a fresh pair of sockets.
    void Make(const SSLContext& server, const SSLContext& client) {
        Close();
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_fds.data()), 0);
        m_server = server.CreateConnection();
        m_server->SetFD(m_fds[0]);
        m_server->SetAcceptState();
        m_client = client.CreateConnection();
        m_client->SetFD(m_fds[1]);
        m_client->SetConnectState();
    }
    /// @return why the client failed; empty if it did not
    std::string Handshake() {
        auto client = std::async(std::launch::async, [this] { return WhyNot([this] { m_client->Connect(); }); });
        m_serverFailure = WhyNot([this] { m_server->Accept(); });
        if (!m_serverFailure.empty())
            ::shutdown(m_fds[0], SHUT_RDWR);
        return client.get();
    }
    void MakeSession() {
        Make(*ServerContext(), *NewContext());
        ASSERT_EQ(Handshake(), "");
        ASSERT_EQ(m_serverFailure, "");
    }
    std::string Read(SSLConnection& session, size_t most = 100) {
        std::string text(most, '\0');
        size_t done = 0;
        EXPECT_EQ(session.Read(text.data(), most, done), SSLConnection::DONE);
        return text.substr(0, done);
    }
    void Send(SSLConnection& session, const std::string& text) {
        size_t done = 0;
        EXPECT_EQ(session.Write(text.data(), text.size(), done), SSLConnection::DONE);
        EXPECT_EQ(done, text.size());
    }
    void CloseClient() { ::close(std::exchange(m_fds[1], -1)); }
    void Close() {
        for (int& fd : m_fds)
            ::close(std::exchange(fd, -1));
    }
    bool IsReadable(int fd) {
        pollfd wanted{fd, POLLIN, 0};
        return ::poll(&wanted, 1, 0) == 1;
    }

    std::array<int, 2> m_fds{-1, -1};  ///< server, client
    std::unique_ptr<SSLConnection> m_server, m_client;
    std::string m_serverFailure;
};

TEST_F(SSLConnectionConcurrentTest, EachKindOfCertificateHasItsCiphers) {
    for (const bool rsa : {false, true}) {
        Make(*ServerContext(MakeSelfSigned({"localhost", rsa ? TestCertificate::RSA : TestCertificate::ECDSA})),
             *NewContext());
        EXPECT_EQ(Handshake(), "");
        EXPECT_THAT(m_client->GetCipher(), StartsWith(rsa ? "AES256-SHA256" : "ECDHE-ECDSA-"));
    }
}

TEST_F(SSLConnectionConcurrentTest, OtherVersionsAreRefused) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION, TLS1_3_VERSION}) {
        Make(*ServerContext(), *NewContext());
        SSL* const peer = m_client->Get();
        SSL_set_security_level(peer, 0);
        SSL_set_min_proto_version(peer, TLS1_VERSION);
        ASSERT_EQ(SSL_set_max_proto_version(peer, version), 1);
        ASSERT_EQ(SSL_set_min_proto_version(peer, version), 1);
        SSL_set_cipher_list(peer, "ALL");
        Handshake();
        EXPECT_THAT(m_serverFailure, StartsWith("handshake failed: error:")) << version;
    }
}

TEST_F(SSLConnectionConcurrentTest, TellsAnAnnouncedEndFromABrokenOne) {
    MakeSession();
    bool done = true;
    m_client->Shutdown(done, false);
    EXPECT_FALSE(done) << "the server has announced nothing";
    EXPECT_EQ(Read(*m_server), "");

    MakeSession();
    CloseClient();
    EXPECT_THAT(WhyNot([&] { Read(*m_server); }), HasSubstr("unexpected eof"));
}

TEST_F(SSLConnectionConcurrentTest, AStaleErrorDecidesNothing) {
    MakeSession();
    ::fcntl(m_fds[0], F_SETFL, O_NONBLOCK);
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_LENGTH);
    char byte = 0;
    size_t done = 0;
    EXPECT_EQ(m_server->Read(&byte, 1, done), SSLConnection::WAIT_READABLE);
}

TEST_F(SSLConnectionConcurrentTest, NothingIsReadAhead) {
    MakeSession();
    Send(*m_client, "first");
    Send(*m_client, "second");
    EXPECT_EQ(Read(*m_server), "first");
    EXPECT_TRUE(IsReadable(m_fds[0])) << "the second record still shows in a wait";
    EXPECT_EQ(Read(*m_server), "second");
    EXPECT_FALSE(IsReadable(m_fds[0]));
}

TEST_F(SSLConnectionConcurrentTest, TheRequestOfAResumedSessionShowsInAWait) {
    const auto server = ServerContext(), client = NewContext();
    SSL_SESSION* session = nullptr;
    for (int round = 0; round < 2; ++round) {
        Make(*server, *client);
        SSL_clear_options(m_client->Get(), SSL_OP_NO_TICKET);
        SSL_set_session(m_client->Get(), session);
        SSL_SESSION_free(session);
        ::fcntl(m_fds[0], F_SETFL, O_NONBLOCK);
        ::fcntl(m_fds[1], F_SETFL, O_NONBLOCK);
        while (SSL_do_handshake(m_client->Get()) != 1)
            m_server->Accept();
        Send(*m_client, "request");  // in a resumed session the server has not read the Finished yet
        EXPECT_EQ(m_server->Accept(), SSLConnection::DONE);
        EXPECT_TRUE(IsReadable(m_fds[0]));
        EXPECT_EQ(Read(*m_server), "request");
        session = SSL_get1_session(m_client->Get());
        m_client->SetShutdownState(SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);  // else it could not be resumed
    }
    SSL_SESSION_free(session);
    EXPECT_TRUE(m_server->IsResumed());
}

TEST_F(SSLConnectionConcurrentTest, RenegotiationIsRefused) {
    MakeSession();
    SSL_clear_options(m_client->Get(), SSL_OP_NO_RENEGOTIATION);
    ASSERT_EQ(SSL_renegotiate(m_client->Get()), 1);
    auto server = std::async(std::launch::async, [this] { return WhyNot([this] { Read(*m_server); }); });
    EXPECT_THAT(WhyNot([this] { m_client->Connect(); }), HasSubstr("no renegotiation"));
    ::shutdown(m_fds[1], SHUT_RDWR);
    EXPECT_THAT(server.get(), HasSubstr("alert"));
}

TEST_F(SSLConnectionConcurrentTest, AcceptWaitsAsTheDescriptorDoes) {
    Make(*ServerContext(), *NewContext());
    const timeval soon{0, 1000};
    ::setsockopt(m_fds[0], SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
    EXPECT_EQ(WhyNot([this] { m_server->Accept(); }), "handshake timed out");
    ::fcntl(m_fds[0], F_SETFL, O_NONBLOCK);
    EXPECT_EQ(m_server->Accept(), SSLConnection::WAIT_READABLE);
}

TEST_F(SSLConnectionConcurrentTest, AHandshakeMayBreakOffAtAnyByte) {
    Make(*ServerContext(), *NewContext());
    ::fcntl(m_fds[1], F_SETFL, O_NONBLOCK);
    SSL_do_handshake(m_client->Get());
    std::array<char, 1000> hello{};
    const ssize_t size = ::recv(m_fds[0], hello.data(), hello.size(), 0);
    ASSERT_GT(size, 100);
    for (ssize_t sent = 0; sent <= size; ++sent) {
        std::array<int, 2> fds{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds.data()), 0);
        ASSERT_EQ(::send(fds[1], hello.data(), static_cast<size_t>(sent), 0), sent);
        ::close(fds[1]);
        const auto server = ServerContext()->CreateConnection();
        server->SetFD(fds[0]);
        server->SetAcceptState();
        EXPECT_THAT(WhyNot([&] { server->Accept(); }), HasSubstr("handshake failed: ")) << "after " << sent << " bytes";
        ::close(fds[0]);
    }
}

TEST_F(SSLConnectionConcurrentTest, EachContextAsksItsOwnCallback) {
    const auto refuse = [](X509StoreContext*, void* argument) { return *static_cast<int*>(argument); };
    const auto fail = [](X509StoreContext*, void*) -> int { throw std::runtime_error("callback"); };
    int yes = 1, no = 0;
    const struct {
        int (*callback)(X509StoreContext*, void*);
        int* argument;
        int result;
    } cases[] = {{refuse, &yes, X509_V_OK},
                 {refuse, &no, X509_V_ERR_APPLICATION_VERIFICATION},
                 {fail, &yes, X509_V_ERR_APPLICATION_VERIFICATION}};
    std::vector<std::unique_ptr<SSLContext>> contexts;  // all of them share OpenSSL's object
    for (const auto& c : cases) {
        contexts.push_back(ServerContext());
        contexts.back()->SetVerify(SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        contexts.back()->SetCertVerifyCallback(c.callback, c.argument);
    }
    for (const auto& c : cases) {
        Make(*contexts[static_cast<size_t>(&c - cases)], *ServerContext());
        Handshake();
        EXPECT_EQ(m_server->GetVerifyResult(), c.result) << m_serverFailure;
        EXPECT_EQ(m_serverFailure.empty(), c.result == X509_V_OK);
    }
}
