#include "Network/Network/RkTcpServer.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <latch>
#include <semaphore>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkTcpConnection.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ServerReport.h"
#include "tests/support/TestClient.h"

using kstr::diag::LV_ERROR, kstr::diag::LV_INFO, testing::ElementsAre, testing::MatchesRegex;

/// Says "hi", does what the test wants, and closes.
class Greeting : public RkTcpConnection {
public:
    explicit Greeting(
        RkTcpSocket* socket, std::function<void()> work = [] {})
        : m_socket(socket), m_work(work) {}
    ~Greeting() override { LeaveServer(); }

    void Run() override {
        m_socket->WriteExactly("hi", 2);
        m_work();
        m_socket->Close();
    }
    void Stop() override { m_socket->Wake(); }
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override { stream << "greeting " << level << "\r\n"; }

private:
    const std::unique_ptr<RkTcpSocket> m_socket;
    const std::function<void()> m_work;
};

/// Makes no socket the first times.
struct FailingFactory : RkTcpSocketFactory {
    explicit FailingFactory(int times) : left(times) {}
    RkTcpSocket* CreateSocket() override {
        asked.release();
        return left-- > 0 ? nullptr : RkTcpSocketFactory::CreateSocket();
    }
    int left;
    std::counting_semaphore<> asked{0};
};

struct TestServer : RkTcpServer {
    explicit TestServer(RkUInt16 port = 0, int timeout = 0, RkTcpSocketFactory* sockets = nullptr)
        : RkTcpServer(RkInetAddress("127.0.0.1", port), timeout, 10, 0, true, RkTimePeriod(), nullptr, sockets) {}
    ~TestServer() override { StopAndJoin(); }
    RkTcpConnection* CreateConnection(RkTcpSocket* socket) override { return create(socket); }
    bool ValidConnection(RkTcpSocket& socket) override { return valid(socket); }

    RkUInt16 Listen() {
        Bind(5);
        Start();
        return GetLocalAddress().GetPort();
    }

    std::function<RkTcpConnection*(RkTcpSocket*)> create = [](RkTcpSocket* socket) { return new Greeting(socket); };
    std::function<bool(RkTcpSocket&)> valid = [](RkTcpSocket&) { return true; };
};

const std::string LOGGER = "Qor.Network.Network.RkTcpServer.Port ";

TEST(RkTcpServerTest, ServerThatBindsItselfLogsUnderThePortItGot) {
    const LogCapture log(LV_INFO);
    TestServer server;
    EXPECT_STREQ(server.GetState(), "init");
    server.Stop();
    server.Run();
    EXPECT_THAT(log->Messages(), ElementsAre("Server thread started", "Server thread stopping, connections = 0"));
    EXPECT_THAT(log->Records()[0].logger, MatchesRegex(LOGGER + "[1-9][0-9]+"));
    EXPECT_STREQ(server.GetState(), "shutdown");
    EXPECT_EQ(server.GetClosingReport(), "server thread shutdown complete\r\n");
}

TEST(RkTcpServerTest, FailedBindIsToldUnderThePortAskedForAndPostsNoEnd) {
    TestServer first;
    RkInetAddress bound("127.0.0.1", 0), other("127.0.0.2", 1);
    first.Bind(bound, 5);
    first.Bind(other, 5);  // it is bound already
    const RkUInt16 port = first.GetLocalAddress().GetPort();
    bound.SetPort(port);
    const CapturingSink::Record started{LV_INFO, LOGGER + std::to_string(port), "Server thread started"};
    const CapturingSink::Record failed{LV_ERROR, started.logger, "Failed to bind to port"};
    for (const bool ownBind : {true, false}) {
        const LogCapture log(LV_INFO);
        TestServer second(ownBind ? port : 0, 50);
        const auto descriptors = OpenDescriptors();
        if (!ownBind) {
            EXPECT_THROW(second.Bind(bound, 5), RkNetworkException);
        }
        testing::internal::CaptureStderr();
        second.Run();  // tries an address that was bound in vain once more
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "TCPServer failed to bind to port: Bind failed: 98\n");
        EXPECT_THAT(log->Records(), ElementsAre(started, failed));
        EXPECT_EQ(OpenDescriptors(), descriptors);
        const auto before = std::chrono::steady_clock::now();
        second.Stop();
        EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
    }
}

TEST(RkTcpServerTest, CountsWhomItServedAndWhomItRefused) {
    const LogCapture log;
    TestServer server;
    int clients = 0;
    server.valid = [&](RkTcpSocket&) { return ++clients != 1; };
    const RkUInt16 port = server.Listen();
    EXPECT_EQ(TestClient(port).ReadAll(), "");
    server.create = [](RkTcpSocket* socket) { return socket->Close(), delete socket, nullptr; };
    EXPECT_EQ(TestClient(port).ReadAll(), "");
    server.Stop();
    EXPECT_EQ(server.GetAcceptedCount(), 1u);
    EXPECT_EQ(server.GetInvalidCount(), 1u);
    EXPECT_THAT(log->Messages(),
                ElementsAre("Server thread started", "After CreateSocket", "After Accept", "After CreateSocket",
                            "After Accept", "Connection accepted", "Server thread stopping, connections = 0"));
}

TEST(RkTcpServerTest, PrintsAsMuchAsTheLevelSaysAndReportsAll) {
    TestServer server;
    std::latch seen(1);
    server.create = [&](RkTcpSocket* socket) { return new Greeting(socket, [&] { seen.wait(); }); };
    const RkUInt16 port = server.Listen();
    TestClient client(port);
    EXPECT_EQ(client.Read(2), "hi");
    EXPECT_EQ(server.GetConnectionCount(), 1u);
    ExpectReports(
        server, "TARNTcpServer", "  greeting 3\r\n",
        "address: 127\\.0\\.0\\.1:" + std::to_string(port) +
            " state - (waiting for connection|connection accepted)\r\n\r\ntotal threads: 1\r\n"
            "idle threads: 0\r\ntotal accepted connections: 1\r\ntotal invalid connection attempts: 0\r\n\r\n");
    seen.count_down();
    EXPECT_EQ(Inspected(Greeting(nullptr)), "TARNTcpConnection=greeting 3\r\n");
}

TEST(RkTcpServerTest, ExceptionOfTheSubclassLosesTheSocketAndServingGoesOn) {
    TestServer server;
    std::unique_ptr<RkTcpSocket> lost;
    server.create = [&](RkTcpSocket* socket) -> RkTcpConnection* {
        if (lost)
            return new Greeting(socket);
        lost.reset(socket);
        throw 42;
    };
    const RkUInt16 port = server.Listen();
    TestClient unlucky(port);
    EXPECT_EQ(TestClient(port).ReadAll(), "hi");
    ASSERT_TRUE(lost && lost->IsOpen());
    lost->Close();
}

TEST(RkTcpServerTest, KeepsTheClientOfAFactoryThatFailsUntilItIsStopped) {
    TestServer once(0, 0, new FailingFactory(1));
    EXPECT_EQ(TestClient(once.Listen()).ReadAll(), "hi");
    auto* const factory = new FailingFactory(1000);
    TestServer always(0, 0, factory);
    TestClient client(always.Listen());
    factory->asked.acquire();
    always.Stop();
    EXPECT_EQ(client.ReadAll(), "");  // closed
}

TEST(RkTcpServerTest, AcceptsAgainAfterDescriptorsRanOut) {
    const LogCapture log;
    std::unique_ptr<RkTcpSocket> kept;  // so that no descriptor comes free
    TestServer server;
    std::counting_semaphore<2> busy(0);
    std::counting_semaphore<2> goOn(0);
    server.create = [&](RkTcpSocket* socket) -> RkTcpConnection* {
        if (kept)
            return new Greeting(socket);
        kept.reset(socket);
        return nullptr;
    };
    server.valid = [&](RkTcpSocket&) { return busy.release(), goOn.acquire(), true; };
    const RkUInt16 port = server.Listen();
    TestClient first(port);
    busy.acquire();  // the server's thread waits in no accept, for which the system would keep a descriptor
    rlimit before;
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int next = ::dup(0);
    ::close(next);
    const rlimit oneMore{static_cast<rlim_t>(next) + 1, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &oneMore);
    TestClient client(port);  // takes the last descriptor
    goOn.release(2);
    log->WaitFor("Accept failed");
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(client.ReadAll(), "hi");
    kept->Close();
}
