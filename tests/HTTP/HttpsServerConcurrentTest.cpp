#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Base/RkBStream.h"
#include "Network/Network/RkSSLSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/StopLimit.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHttpServer.h"

namespace {

struct TlsFactory : RkTcpSocketFactory {
    explicit TlsFactory(const TempDir& dir) : m_dir(dir) {}
    RkTcpSocket* CreateSocket() override { return new RkSSLSocket(m_dir / "tls.key", m_dir / "tls.pem", true); }
    const TempDir& m_dir;
};

}  // namespace

TEST(HttpsServerConcurrentTest, SilentClientsNeitherStopTheServiceNorTheEnd) {
    const TempDir dir;
    const LogCapture log(kstr::diag::LV_ERROR);
    MakeSelfSigned().Write(dir / "tls");
    std::ofstream(dir / "page.txt") << "over TLS\n";
    auto server = std::make_unique<TestHttpServer>(dir / "", 30, new TlsFactory(dir));
    std::vector<std::unique_ptr<TestClient>> silent;
    for (int i = 0; i < 300; ++i)
        silent.push_back(std::make_unique<TestClient>(server->Port()));

    RkSSLSocket client(dir / "tls.key", dir / "tls.pem", true);
    client.Connect(server->GetLocalAddress());
    RkBStream stream(client);
    (stream << "GET /page.txt HTTP/1.0\r\n\r\n").Flush();
    std::string answer;
    stream.ReadString(answer, 1000);
    EXPECT_THAT(answer, testing::EndsWith("\r\n\r\nover TLS\n"));
    client.Close();

    while (server->GetAcceptedCount() < 301 || server->GetQueuedWork() > 0)
        std::this_thread::yield();
    const auto before = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, STOP_LIMIT);
}
