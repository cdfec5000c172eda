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

const TestIdentity& Identity(TestCertificate::Kind kind = TestCertificate::ECDSA) {
    static const TestIdentity ecdsa = MakeSelfSigned(), rsa = MakeSelfSigned({"localhost", TestCertificate::RSA});
    return kind == TestCertificate::RSA ? rsa : ecdsa;
}

std::unique_ptr<SSLContext> NewContext() {
    auto context = SSLContext::Create(SSLContext::Method::TLSV12);
    context->SetCipherString("TLSv1.2+ECDSA:AES256-SHA256");
    return context;
}

std::unique_ptr<SSLContext> ServerContext(const TestIdentity& identity = Identity()) {
    auto context = NewContext();
    context->UseCert(identity.cert);
    context->UsePrivateKey(identity.key);
    return context;
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
    const struct {
        TestCertificate::Kind kind;
        const char* cipher;
    } cases[] = {{TestCertificate::ECDSA, "ECDHE-ECDSA-"}, {TestCertificate::RSA, "AES256-SHA256"}};
    for (const auto& c : cases) {
        Make(*ServerContext(Identity(c.kind)), *NewContext());
        ASSERT_EQ(Handshake(), "");
        EXPECT_THAT(m_client->GetCipher(), StartsWith(c.cipher));
        EXPECT_EQ(m_client->GetProtocol(), "TLSv1.2");
        EXPECT_THROW(m_server->GetPeerCert(), BasicException) << "the client presented none";
    }
}

TEST_F(SSLConnectionConcurrentTest, OtherVersionsAreRefused) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION, TLS1_3_VERSION}) {
        Make(*ServerContext(), *NewContext());
        SSL* const peer = m_client->Get();
        SSL_set_security_level(peer, 0);
        ASSERT_EQ(SSL_set_min_proto_version(peer, TLS1_VERSION), 1);
        ASSERT_EQ(SSL_set_max_proto_version(peer, version), 1);
        ASSERT_EQ(SSL_set_min_proto_version(peer, version), 1);
        SSL_set_cipher_list(peer, "ALL");
        Handshake();
        EXPECT_THAT(m_serverFailure, HasSubstr("handshake failed: error:")) << version;
    }
}

TEST_F(SSLConnectionConcurrentTest, TellsAnAnnouncedEndFromABrokenOne) {
    MakeSession();
    Send(*m_client, "last");
    bool done = true;
    m_client->Shutdown(done, false);
    EXPECT_FALSE(done) << "the server has announced nothing";
    EXPECT_EQ(Read(*m_server), "last");
    EXPECT_EQ(Read(*m_server), "");

    MakeSession();
    CloseClient();
    size_t count = 0;
    char byte = 0;
    EXPECT_THAT(WhyNot([&] { m_server->Read(&byte, 1, count); }), HasSubstr("unexpected eof"));
}

TEST_F(SSLConnectionConcurrentTest, WritingToAPeerThatIsGoneRaisesNoSignal) {
    MakeSession();
    CloseClient();
    size_t count = 0;
    EXPECT_THAT(WhyNot([&] { m_server->Write("x", 1, count); }), HasSubstr("Broken pipe"));
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
    const auto demand = [](const std::function<int()>& answer) {
        auto context = ServerContext();  // all of them share OpenSSL's object
        context->SetVerify(SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        context->SetCertVerifyCallback(
            [](X509StoreContext* view, void* argument) {
                EXPECT_TRUE(view->GetCertificate());
                return (*static_cast<const std::function<int()>*>(argument))();
            },
            const_cast<std::function<int()>*>(&answer));
        return context;
    };
    int asked = 0;
    const std::function<int()> yes = [&] { return ++asked; }, no = [] { return 0; },
                               fail = []() -> int { throw std::runtime_error("callback"); };
    const auto accepting = demand(yes), refusing = demand(no), throwing = demand(fail);
    for (const auto& [context, outcome] : {std::pair{accepting.get(), X509_V_OK},
                                           {refusing.get(), X509_V_ERR_APPLICATION_VERIFICATION},
                                           {throwing.get(), X509_V_ERR_APPLICATION_VERIFICATION}}) {
        Make(*context, *ServerContext());
        Handshake();
        EXPECT_EQ(m_server->GetVerifyResult(), outcome) << m_serverFailure;
        EXPECT_EQ(m_serverFailure.empty(), outcome == X509_V_OK) << m_serverFailure;
    }
    EXPECT_EQ(asked, 1);
}
