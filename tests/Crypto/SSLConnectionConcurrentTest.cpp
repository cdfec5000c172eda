#include "Crypto/SSLConnection.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Crypto/SSLContext.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TestCertificates.h"

using kstr::Crypto::SSLConnection, kstr::Crypto::SSLContext, kstr::Crypto::X509StoreContext;
using testing::HasSubstr, testing::StartsWith;

std::unique_ptr<SSLContext> NewContext() {
    auto context = SSLContext::Create(SSLContext::Method::TLSV12);
    context->SetCipherString("TLSv1.2+ECDSA:AES256-SHA256");
    return context;
}

std::unique_ptr<SSLContext> ServerContext(TestCertificate::Kind kind = TestCertificate::ECDSA) {
    static const TestIdentity identities[] = {MakeSelfSigned(), MakeSelfSigned({"localhost", TestCertificate::RSA})};
    auto context = NewContext();
    context->UseCert(identities[kind].cert);
    context->UsePrivateKey(identities[kind].key);
    return context;
}

struct SSLConnectionConcurrentTest : testing::Test {
    ~SSLConnectionConcurrentTest() override { Close(); }

    /// Makes two sessions, not yet connected, over a fresh pair of sockets.
    void Make(const SSLContext& server = *ServerContext(), const SSLContext& client = *NewContext()) {
        Close();
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_fds), 0);
        m_server = server.CreateConnection();
        m_server->SetFD(m_fds[0]);
        m_server->SetAcceptState();
        m_client = client.CreateConnection();
        m_client->SetFD(m_fds[1]);
        m_client->SetConnectState();
    }
    /// @return why the server failed, and the client; empty where they did not
    std::pair<std::string, std::string> Handshake() {
        auto client =
            std::async(std::launch::async, [this] { return MessageOf<RkException>([this] { m_client->Connect(); }); });
        const std::string failure = MessageOf<RkException>([this] { m_server->Accept(); });
        if (!failure.empty())
            ::shutdown(m_fds[0], SHUT_RDWR);
        return {failure, client.get()};
    }
    void MakeSession() {
        Make();
        ASSERT_EQ(Handshake(), SUCCESS);
    }
    /// What the server reads next.
    std::string Read() {
        char text[100];
        size_t done = 0;
        EXPECT_EQ(m_server->Read(text, sizeof text, done), SSLConnection::DONE);
        return {text, done};
    }
    void Send(const std::string& text) {
        size_t done = 0;
        EXPECT_EQ(m_client->Write(text.data(), text.size(), done), SSLConnection::DONE);
        EXPECT_EQ(done, text.size());
    }
    void CloseClient() { ::close(std::exchange(m_fds[1], -1)); }
    void Close() {
        for (int& fd : m_fds)
            ::close(std::exchange(fd, -1));
    }
    bool ShowsInAWait() {
        pollfd wanted{m_fds[0], POLLIN, 0};
        return ::poll(&wanted, 1, 0) == 1;
    }

    const std::pair<std::string, std::string> SUCCESS;
    int m_fds[2] = {-1, -1};  ///< server, client
    std::unique_ptr<SSLConnection> m_server, m_client;
};

TEST_F(SSLConnectionConcurrentTest, EachKindOfCertificateHasItsCiphers) {
    for (const auto kind : {TestCertificate::ECDSA, TestCertificate::RSA}) {
        Make(*ServerContext(kind));
        EXPECT_EQ(Handshake(), SUCCESS);
        EXPECT_THAT(m_client->GetCipher(), StartsWith(kind == TestCertificate::RSA ? "AES256-SHA256" : "ECDHE-ECDSA-"));
    }
}

TEST_F(SSLConnectionConcurrentTest, TheIssuerIsSentAlongWhereTheStoreHasIt) {
    const TestCA ca;
    const TestIdentity own = ca.Issue();
    const auto server = NewContext();
    server->UseCert(own.cert);
    server->UsePrivateKey(own.key);
    for (const int certs : {1, 2}) {
        Make(*server);
        EXPECT_EQ(Handshake(), SUCCESS);
        EXPECT_EQ(sk_X509_num(SSL_get_peer_cert_chain(m_client->Get())), certs);
        server->GetCertStore().AddCert(ca.Cert());
    }
}

TEST_F(SSLConnectionConcurrentTest, OtherVersionsAreRefused) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION, TLS1_3_VERSION}) {
        Make();
        SSL* const peer = m_client->Get();
        SSL_set_security_level(peer, 0);
        SSL_set_min_proto_version(peer, TLS1_VERSION);
        ASSERT_EQ(SSL_set_max_proto_version(peer, version), 1);
        ASSERT_EQ(SSL_set_min_proto_version(peer, version), 1);
        SSL_set_cipher_list(peer, "ALL");
        EXPECT_THAT(Handshake().first, StartsWith("handshake failed: error:")) << version;
    }
}

TEST_F(SSLConnectionConcurrentTest, TellsAnAnnouncedEndFromABrokenOne) {
    MakeSession();
    bool done = true;
    m_client->Shutdown(done, false);
    EXPECT_FALSE(done) << "the server has announced nothing";
    EXPECT_EQ(Read(), "");
    ::fcntl(m_fds[1], F_SETFL, O_NONBLOCK);
    m_client->Shutdown(done, false);
    EXPECT_FALSE(SSL_want_read(m_client->Get())) << "a second call waits for the server as little as the first";
    m_server->Shutdown(done, false);
    EXPECT_TRUE(done);

    MakeSession();
    CloseClient();
    EXPECT_THAT(MessageOf<RkException>([&] { Read(); }), HasSubstr("unexpected eof"));
}

TEST_F(SSLConnectionConcurrentTest, AnEndIsAnnouncedOnceAndWaitsForNobody) {
    MakeSession();
    bool done = true;
    m_server->Shutdown(done, false);
    m_server->Shutdown(done, false);  // the client announces nothing
    EXPECT_FALSE(done);
    const std::string filling(1 << 16, 'x');
    while (::send(m_fds[1], filling.data(), filling.size(), MSG_DONTWAIT) > 0) {}
    EXPECT_EQ(MessageOf<RkException>([&] { m_client->Shutdown(done, false); }), "close notification timed out");
}

TEST_F(SSLConnectionConcurrentTest, NoEndIsAnnouncedWithinARecord) {
    MakeSession();
    ::fcntl(m_fds[1], F_SETFL, O_NONBLOCK);
    const std::string filling(1 << 16, 'x');
    size_t count = 0;
    while (m_client->Write(filling.data(), filling.size(), count) == SSLConnection::DONE) {}
    ::fcntl(m_fds[1], F_SETFL, 0);
    bool done = true;
    EXPECT_THAT(MessageOf<RkException>([&] { m_client->Shutdown(done, false); }), HasSubstr("unfinished write"));
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
    Send("first");
    Send("second");
    EXPECT_EQ(Read(), "first");
    EXPECT_TRUE(ShowsInAWait()) << "the second record still shows in a wait";
    EXPECT_EQ(Read(), "second");
    EXPECT_FALSE(ShowsInAWait());
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
        Send("request");  // in a resumed session the server has not read the Finished yet
        EXPECT_EQ(m_server->Accept(), SSLConnection::DONE);
        EXPECT_TRUE(ShowsInAWait());
        EXPECT_EQ(Read(), "request");
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
    auto server = std::async(std::launch::async, [this] { return MessageOf<RkException>([this] { Read(); }); });
    EXPECT_THAT(MessageOf<RkException>([this] { m_client->Connect(); }), HasSubstr("no renegotiation"));
    ::shutdown(m_fds[1], SHUT_RDWR);
    EXPECT_THAT(server.get(), HasSubstr("alert"));
}

TEST_F(SSLConnectionConcurrentTest, AServersCallForRenegotiationIsRefused) {
    MakeSession();
    SSL_clear_options(m_server->Get(), SSL_OP_NO_RENEGOTIATION);
    ASSERT_EQ(SSL_renegotiate(m_server->Get()), 1);
    ASSERT_EQ(SSL_do_handshake(m_server->Get()), 1) << "sends the call";
    ::fcntl(m_fds[1], F_SETFL, O_NONBLOCK);
    char byte = 0;
    size_t done = 0;
    EXPECT_EQ(m_client->Read(&byte, 1, done), SSLConnection::WAIT_READABLE) << "the session goes on as it was";
    EXPECT_THAT(MessageOf<RkException>([this] { Read(); }), HasSubstr("no renegotiation"));
}

TEST_F(SSLConnectionConcurrentTest, AcceptWaitsAsTheDescriptorDoes) {
    Make();
    const timeval soon{0, 1000};
    ::setsockopt(m_fds[0], SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
    EXPECT_EQ(MessageOf<RkException>([this] { m_server->Accept(); }), "handshake timed out");
    ::fcntl(m_fds[0], F_SETFL, O_NONBLOCK);
    EXPECT_EQ(m_server->Accept(), SSLConnection::WAIT_READABLE);
}

TEST_F(SSLConnectionConcurrentTest, AHandshakeMayBreakOffAtAnyByte) {
    Make();
    ::fcntl(m_fds[1], F_SETFL, O_NONBLOCK);
    SSL_do_handshake(m_client->Get());
    char hello[1000];
    const ssize_t size = ::recv(m_fds[0], hello, sizeof hello, 0);
    ASSERT_GT(size, 100);
    for (ssize_t sent = 0; sent <= size; ++sent) {
        Make();
        ASSERT_EQ(::send(m_fds[1], hello, static_cast<size_t>(sent), 0), sent);
        CloseClient();
        EXPECT_THAT(MessageOf<RkException>([this] { m_server->Accept(); }), HasSubstr("handshake failed: "))
            << sent << " bytes";
    }
}

TEST_F(SSLConnectionConcurrentTest, EachContextAsksItsOwnCallback) {
    int (*const answer)(X509StoreContext*, void*) = [](X509StoreContext*, void* argument) {
        return argument != nullptr ? *static_cast<int*>(argument) : throw std::runtime_error("callback");
    };
    int yes = 1, no = 0;
    std::vector<std::unique_ptr<SSLContext>> contexts;  // all of them share OpenSSL's object
    for (int* const argument : {&yes, &no, static_cast<int*>(nullptr)}) {
        contexts.push_back(ServerContext());
        contexts.back()->SetVerify(SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        contexts.back()->SetCertVerifyCallback(answer, argument);
    }
    for (const auto& context : contexts) {
        const bool accepted = context == contexts[0];
        Make(*context, *ServerContext());
        EXPECT_EQ(Handshake().first.empty(), accepted);
        EXPECT_EQ(m_server->GetVerifyResult(), accepted ? X509_V_OK : X509_V_ERR_APPLICATION_VERIFICATION);
    }
}
