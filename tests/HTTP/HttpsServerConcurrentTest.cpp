#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Base/RkBStream.h"
#include "Network/HTTP/RkHttpServer.h"
#include "Network/Network/RkSSLSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"
#include "tests/support/TestClient.h"

namespace {

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
    ~HttpsServer() override {
        Stop();
        RkThread::WaitForThread(this);
        StopThreadPool();
    }
};

}  // namespace

TEST(HttpsServerConcurrentTest, SilentClientsNeitherStopTheServiceNorTheEnd) {
    const TempDir dir;
    const LogCapture log(kstr::diag::LV_ERROR);
    MakeSelfSigned().Write(dir / "tls");
    std::ofstream(dir / "page.txt") << "over TLS\n";
    auto server = std::make_unique<HttpsServer>(dir / "tls", dir / "");
    std::vector<std::unique_ptr<TestClient>> silent;
    for (int i = 0; i < 300; ++i)
        silent.push_back(std::make_unique<TestClient>(server->GetLocalAddress().GetPort()));

    RkSSLSocket client(dir / "tls.key", dir / "tls.pem", true);
    client.Connect(server->GetLocalAddress());
    RkBStream stream(client);
    stream << "GET /page.txt HTTP/1.0\r\n\r\n";
    stream.Flush();
    std::string line, last;
    for (int i = 0; i < 5 && (stream.ReadLine(line, 100) || line.empty()); ++i)
        last = line;
    EXPECT_EQ(last, "over TLS");
    client.Close();

    while (server->GetAcceptedCount() < 301 || server->GetQueuedWork() > 0)
        std::this_thread::yield();
    const auto before = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
}
