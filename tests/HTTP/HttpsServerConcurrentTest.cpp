#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Network/Network/RkSSLSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHttpServer.h"

namespace {

class TlsFactory : public RkTcpSocketFactory {
public:
    explicit TlsFactory(const std::string& base) : m_base(base) {}
    RkTcpSocket* CreateSocket() override { return new RkSSLSocket(m_base + ".key", m_base + ".pem", true); }

private:
    const std::string m_base;
};

}  // namespace

TEST(HttpsServerConcurrentTest, SilentClientsNeitherStopTheServiceNorTheEnd) {
    const TempDir dir;
    const LogCapture log(kstr::diag::LV_ERROR);
    MakeSelfSigned().Write(dir / "tls");
    std::ofstream(dir / "page.txt") << "over TLS\n";
    auto server = std::make_unique<TestHttpServer>(dir / "", 30, new TlsFactory(dir / "tls"));
    std::vector<std::unique_ptr<TestClient>> silent;
    for (int i = 0; i < 300; ++i)
        silent.push_back(std::make_unique<TestClient>(server->Port()));

    RkSSLSocket client(dir / "tls.key", dir / "tls.pem", true);
    client.Connect(server->GetLocalAddress());
    client.WriteExactly("GET /page.txt HTTP/1.0\r\n\r\n", 26);
    std::string answer;
    char byte;
    while (!answer.ends_with("over TLS\n") && client.Read(&byte, 1) == 1)
        answer += byte;
    EXPECT_THAT(answer, ::testing::StartsWith("HTTP/1.0 200 "));
    client.Close();

    while (server->GetAcceptedCount() < 301 || server->GetQueuedWork() > 0)
        std::this_thread::yield();
    const auto before = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
}
