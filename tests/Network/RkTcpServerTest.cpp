#include "Network/Network/RkTcpServer.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <latch>
#include <sstream>
#include <string_view>

#include "Base/RkException.h"
#include "Diag/RkInspector.h"
#include "Network/Network/RkTcpConnection.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/TestClient.h"

using kstr::diag::LV_ERROR;
using kstr::diag::LV_INFO;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

namespace {

/// Says "hi", does what the test wants, and closes.
class Greeting : public RkTcpConnection {
public:
    explicit Greeting(RkTcpSocket* socket, std::function<void()> work = {})
        : m_socket(socket), m_work(std::move(work)) {}
    ~Greeting() override { LeaveServer(); }

    void Run() override {
        m_socket->WriteExactly("hi", 2);
        if (m_work)
            m_work();
        m_socket->Close();
    }
    void Stop() override { m_socket->Wake(); }
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override { stream << "greeting " << level << "\r\n"; }

private:
    const std::unique_ptr<RkTcpSocket> m_socket;
    const std::function<void()> m_work;
};

class TestServer : public RkTcpServer {
public:
    explicit TestServer(RkUInt16 port = 0, int timeout = 0)
        : RkTcpServer(RkInetAddress("127.0.0.1", port), timeout, 10, 0, true, RkTimePeriod(), nullptr, nullptr) {}
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

std::string Print(RkTcpServer& server, int level) {
    std::ostringstream text;
    server.PrintSelf(text, static_cast<PrintSelfLevel>(level));
    std::string printed = text.str();
    constexpr std::string_view pattern = "2000-01-01 00:00:00";
    return printed.replace(printed.find("Time: ") + 6, pattern.size(), "NOW");
}

std::string LoggerName(RkUInt16 port) { return "Qor.Network.Network.RkTcpServer.Port " + std::to_string(port); }

}  // namespace

TEST(RkTcpServerTest, ServerThatBindsItselfLogsUnderThePortItGot) {
    const LogCapture log(LV_INFO);
    TestServer server;
    server.Stop();
    server.Run();
    EXPECT_THAT(log->Messages(), ElementsAre("Server thread started", "Server thread stopping, connections = 0"));
    EXPECT_THAT(log->Records()[0].logger, MatchesRegex("Qor.Network.Network.RkTcpServer.Port [1-9][0-9]+"));
}

TEST(RkTcpServerTest, TellsTheLogOfEachStepOfAConnection) {
    const LogCapture log;
    TestServer server;
    std::latch gone(1);
    server.create = [&](RkTcpSocket* socket) {
        struct Leaving : Greeting {
            Leaving(RkTcpSocket* sock, std::latch& left) : Greeting(sock), m_left(left) {}
            ~Leaving() override { LeaveServer(), m_left.count_down(); }
            std::latch& m_left;
        };
        return new Leaving(socket, gone);
    };
    const RkUInt16 port = server.Listen();
    EXPECT_EQ(TestClient(port).ReadAll(), "hi");
    gone.wait();
    server.Stop();
    EXPECT_THAT(log->Messages(), ElementsAre("Server thread started", "After CreateSocket", "After Accept",
                                             "Connection accepted", "Server thread stopping, connections = 0"));
    EXPECT_EQ(log->Records().back().logger, LoggerName(port));
    EXPECT_STREQ(server.GetState(), "shutdown");
    EXPECT_EQ(server.GetClosingReport(), "server thread shutdown complete\r\n");
}

TEST(RkTcpServerTest, FailedBindIsToldUnderThePortAskedForAndPostsNoEnd) {
    TestServer first;
    first.Bind(5);
    const RkUInt16 port = first.GetLocalAddress().GetPort();
    const LogCapture log(LV_INFO);
    TestServer second(port, 50);
    ::testing::internal::CaptureStderr();
    second.Run();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "TCPServer failed to bind to port: Bind failed: 98\n");
    const CapturingSink::Record started{LV_INFO, LoggerName(port), "Server thread started"};
    const CapturingSink::Record failed{LV_ERROR, LoggerName(port), "Failed to bind to port"};
    EXPECT_THAT(log->Records(), ElementsAre(started, failed));
    const auto before = std::chrono::steady_clock::now();
    second.Stop();
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
}

TEST(RkTcpServerTest, BindsOnlyOnce) {
    TestServer server;
    RkInetAddress wanted("127.0.0.2", 0), other("127.0.0.1", 1);
    server.Bind(wanted, 5);
    const RkInetAddress bound = server.GetLocalAddress();
    server.Bind(other, 5);
    server.Stop();
    server.Bind(5);
    EXPECT_EQ(server.GetLocalAddress(), bound);
    EXPECT_TRUE(RkInetAddress::EqualNoPort(bound, wanted));
}

TEST(RkTcpServerTest, CountsWhomItServedAndWhomItRefused) {
    TestServer server;
    int clients = 0;
    server.valid = [&](RkTcpSocket&) { return ++clients != 2; };
    const RkUInt16 port = server.Listen();
    EXPECT_EQ(TestClient(port).ReadAll(), "hi");
    EXPECT_EQ(TestClient(port).ReadAll(), "");
    server.create = [](RkTcpSocket* socket) { return socket->Close(), delete socket, nullptr; };
    EXPECT_EQ(TestClient(port).ReadAll(), "");
    server.Stop();
    EXPECT_EQ(server.GetAcceptedCount(), 2u);
    EXPECT_EQ(server.GetInvalidCount(), 1u);
}

TEST(RkTcpServerTest, PrintsAsMuchAsTheLevelSays) {
    TestServer server;
    server.Bind(5);
    const std::string rule = std::string(70, '-') + "\r\n";
    const std::string state = "address: 127.0.0.1:" + std::to_string(server.GetLocalAddress().GetPort()) +
                              " state - init\r\n\r\ntotal threads: 0\r\nidle threads: 0\r\n"
                              "total accepted connections: 0\r\ntotal invalid connection attempts: 0\r\n\r\n";
    const struct {
        int level;
        std::string text;
    } cases[] = {{-1, ""}, {0, ""}, {1, state}, {2, state}, {3, "connections:\n\r\n" + state}, {4, ""}};
    for (const auto& c : cases)
        EXPECT_EQ(Print(server, c.level), rule + "TARNTcpServer - PrintSelf - Level: " + std::to_string(c.level) +
                                              "\r\nTime: NOW\r\n" + rule + "\r\n" + c.text + "\r\n")
            << "level " << c.level;
}

TEST(RkTcpServerTest, InspectionReportsTheConnectionsToo) {
    struct : kstr::diag::RkInspector {
        void reportMultiLineValue(const std::string& k, const std::string& t) override { key = k, text = t; }
        std::string key, text;
    } inspector;
    TestServer server;
    std::latch seen(1);
    server.create = [&](RkTcpSocket* socket) { return new Greeting(socket, [&] { seen.wait(); }); };
    TestClient client(server.Listen());
    EXPECT_EQ(client.Read(2), "hi");
    server.HandleInspection(inspector);
    EXPECT_EQ(server.GetConnectionCount(), 1u);
    seen.count_down();
    EXPECT_EQ(inspector.key, "TARNTcpServer");
    EXPECT_THAT(inspector.text, HasSubstr("connections:\n  greeting 3\r\n\r\naddress: "));
    Greeting(nullptr).HandleInspection(inspector);
    EXPECT_EQ(inspector.key, "TARNTcpConnection");
    EXPECT_EQ(inspector.text, "greeting 3\r\n");
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

TEST(RkTcpServerTest, AcceptsAgainAfterDescriptorsRanOut) {
    const LogCapture log;
    TestServer server;
    const RkUInt16 port = server.Listen();
    ASSERT_EQ(TestClient(port).ReadAll(), "hi");
    rlimit before;
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int next = ::dup(0);
    ::close(next);
    const rlimit oneMore{static_cast<rlim_t>(next) + 1, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &oneMore);
    TestClient client(port);  // takes the last descriptor
    log->WaitFor("Accept failed");
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(client.ReadAll(), "hi");
}
