// The HTTP server over a factory of TLS sockets.
#include <gmock/gmock.h>
#include <openssl/ssl.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Network/HTTP/RkHttpServer.h"
#include "Network/Network/RkSSLSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"
#include "tests/support/TestClient.h"

using ::testing::EndsWith;

namespace {

constexpr const char* REQUEST = "GET /page.txt HTTP/1.0\r\n\r\n";

class TlsFactory : public RkTcpSocketFactory {
public:
    explicit TlsFactory(const std::string& base) : m_base(base) {}
    RkTcpSocket* CreateSocket() override { return new RkSSLSocket(m_base + ".key", m_base + ".pem", true); }

private:
    const std::string m_base;
};

class HttpsServer : public RkHttpServer {
public:
    HttpsServer(const std::string& base, const std::string& root)
        : RkHttpServer(NotStarted(), RkInetAddress("127.0.0.1", 0), new TlsFactory(base), root, 30) {
        Bind(1000);
        Start();
    }
    RkUInt16 Port() const { return GetLocalAddress().GetPort(); }
};

using SessionPtr = std::unique_ptr<SSL_SESSION, decltype(&SSL_SESSION_free)>;

/// A TLS client between memory and a plain connection: it decides what goes into one segment.
class MemoryClient {
public:
    MemoryClient(RkUInt16 port, SSL_SESSION* resumed) : m_peer(port) {
        SSL_set_bio(m_ssl.get(), m_in, m_out);
        SSL_set_connect_state(m_ssl.get());
        if (resumed != nullptr)
            SSL_set_session(m_ssl.get(), resumed);
    }

    /// Asks once; a resumed session sends its Finished and the request as one segment.
    std::string Ask(const std::string& request) {
        while (SSL_do_handshake(m_ssl.get()) != 1) {
            SendWhatIsDue();
            Receive();
        }
        SSL_write(m_ssl.get(), request.data(), static_cast<int>(request.size()));
        SendWhatIsDue();
        std::string answer(1000, '\0');
        int count;
        while ((count = SSL_read(m_ssl.get(), answer.data(), 1000)) <= 0)
            if (!Receive())
                return "";
        return answer.substr(0, static_cast<size_t>(count));
    }

    /// Ends the session in order, without which it could not be resumed.
    SessionPtr End() const {
        SSL_set_shutdown(m_ssl.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
        return {SSL_get1_session(m_ssl.get()), &SSL_SESSION_free};
    }
    bool IsResumed() const { return SSL_session_reused(m_ssl.get()) == 1; }

private:
    void SendWhatIsDue() {
        char* data = nullptr;
        const long size = BIO_get_mem_data(m_out, &data);
        m_peer.Send(std::string(data, static_cast<size_t>(size)));
        BIO_reset(m_out);
    }
    bool Receive() {
        const std::string byte = m_peer.Read(1);
        BIO_write(m_in, byte.data(), static_cast<int>(byte.size()));
        return !byte.empty();
    }

    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> m_context{SSL_CTX_new(TLS_client_method()), &SSL_CTX_free};
    const std::unique_ptr<SSL, decltype(&SSL_free)> m_ssl{SSL_new(m_context.get()), &SSL_free};
    BIO* const m_in = BIO_new(BIO_s_mem());   ///< m_ssl's
    BIO* const m_out = BIO_new(BIO_s_mem());  ///< m_ssl's
    TestClient m_peer;
};

}  // namespace

class HttpsServerConcurrentTest : public ::testing::Test {
protected:
    HttpsServerConcurrentTest() {
        MakeSelfSigned().Write(m_dir / "tls");
        std::ofstream(m_dir / "page.txt") << "over TLS";
        m_server = std::make_unique<HttpsServer>(m_dir / "tls", m_dir / "");
    }

    TempDir m_dir;
    LogCapture m_log{kstr::diag::LV_ERROR};
    std::unique_ptr<HttpsServer> m_server;
};

TEST_F(HttpsServerConcurrentTest, AResumedSessionMaySendItsRequestAtOnce) {
    SessionPtr session(nullptr, &SSL_SESSION_free);
    do {  // until the files are old enough for connections to share a context
        MemoryClient client(m_server->Port(), session.get());
        EXPECT_THAT(client.Ask(REQUEST), EndsWith("over TLS"));
        if (client.IsResumed())
            return;
        session = client.End();
    } while (!HasFailure());
}

TEST_F(HttpsServerConcurrentTest, SilentClientsNeitherStopTheServiceNorTheEnd) {
    std::vector<std::unique_ptr<TestClient>> silent;
    for (int i = 0; i < 300; ++i)
        silent.push_back(std::make_unique<TestClient>(m_server->Port()));
    EXPECT_THAT(MemoryClient(m_server->Port(), nullptr).Ask(REQUEST), EndsWith("over TLS"));
    while (m_server->GetAcceptedCount() < 301 || m_server->GetQueuedWork() > 0)
        std::this_thread::yield();
    const auto before = std::chrono::steady_clock::now();
    m_server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
}
