#include "Network/HTTP/RkHttpServer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <future>
#include <latch>
#include <memory>
#include <sstream>

#include "Network/Network/RkSSLSocket.h"
#include "tests/support/InThreads.h"
#include "tests/support/LambdaHandler.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"
#include "tests/support/TestClient.h"

using testing::EndsWith, testing::StartsWith;

/// How long a stop with hundreds of clients may take. Under a sanitizer, whose threads cost many times as much, it is only
/// told from one that waits for the clients' own time-outs, which are longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::chrono::seconds STOP_LIMIT(10);
#else
constexpr std::chrono::seconds STOP_LIMIT(2);
#endif

/// Listens on a port of 127.0.0.1 that the system chose when its constructor returns.
struct TestServer : RkHttpServer {
    explicit TestServer(const std::string& root, unsigned timeout = 0, RkTcpSocketFactory* sockets = nullptr)
        : RkHttpServer(NotStarted(), RkInetAddress("127.0.0.1", 0), sockets, root, timeout) {
        Bind(1000);
        Start();
    }
    ~TestServer() override { StopAndJoin(); }

    using RkHttpServer::GetRequestMap;
    RkUInt16 Port() const { return GetLocalAddress().GetPort(); }
    void Handle(const std::string& name, LambdaHandler::Work work) {
        addHandler(name, new LambdaHandler(std::move(work)));
    }
};

/// Answers with the parameters.
void Echo(RkHttpRequest& request, RkBStream& stream) {
    stream << "HTTP/1.0 200 OK\r\n\r\n" << '<' << request.getCgi().createCgiString(true, false, false, false) << '>';
}

struct RkHttpServerConcurrentTest : testing::Test {
    RkHttpServerConcurrentTest() { m_server->Handle("/echo", Echo); }

    std::string Get(const std::string& name) { return GetSoon(name).get(); }
    std::future<std::string> GetSoon(const std::string& name) {
        return std::async(std::launch::async, Ask, m_server->Port(), "GET " + name + "\r\n\r\n");
    }
    /// Clients that leave off where a beginning ends; the server has accepted them all.
    void Stall(const std::vector<std::string>& beginnings) {
        while (m_stalled.size() < 300) {
            m_stalled.push_back(std::make_unique<TestClient>(m_server->Port()));
            m_stalled.back()->Write(beginnings[m_stalled.size() % beginnings.size()]);
        }
        while (m_server->GetAcceptedCount() < 300 || m_server->GetQueuedWork() > 0)
            std::this_thread::yield();
    }
    auto TimeToDestroy() {
        const auto before = std::chrono::steady_clock::now();
        m_server.reset();
        return std::chrono::steady_clock::now() - before;
    }

    const TempDir m_dir;
    std::unique_ptr<TestServer> m_server = std::make_unique<TestServer>(m_dir / "", 30);
    std::vector<std::unique_ptr<TestClient>> m_stalled;
};

const std::string NOT_FOUND = "HTTP/1.0 404 Not Found\r\n", ECHOED = "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\n<>";

TEST(RkHttpServerStartTest, ConstructionIsStartAndPortZeroIsAnyPort) {
    RkInetAddress address("127.0.0.1", 0);
    RkHttpServer server(address, nullptr, "/nowhere/", 30);
    while (server.GetState() == std::string("init"))
        std::this_thread::yield();
    EXPECT_THAT(Ask(server.GetLocalAddress().GetPort(), "GET / HTTP/1.0\r\n\r\n"), StartsWith(NOT_FOUND));
}

TEST_F(RkHttpServerConcurrentTest, WideNamesAreRegisteredInUtf8) {
    m_server->addHandler(std::wstring(L"/caf\u00e9"), new LambdaHandler(Echo));
    EXPECT_EQ(Get("/caf%C3%A9"), ECHOED);
}

TEST_F(RkHttpServerConcurrentTest, FilesOfEverySizeArriveWhole) {
    for (const unsigned size : {0U, 1U, 1024U, 32767U, 32768U, 65537U, 1048575U, 1048576U, 10485761U}) {
        std::string text(size, 'x');
        for (unsigned i = 0; i < size; i += 7)
            text[i] = static_cast<char>(i / 7);
        std::ofstream(m_dir / "f") << text;
        const std::string answer = Ask(m_server->Port(), "HEAD /f\r\n\r\n");  // the bytes are sent for HEAD, too
        EXPECT_TRUE(answer == "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + text) << size;
    }
}

TEST_F(RkHttpServerConcurrentTest, HostileHeadsGetTheirAnswerAndTheNextClientIsServed) {
    const std::string line(131072, 'v'), bytes("\0\x80\xff", 3), get = "GET /echo HTTP/1.0\r\n";
    std::string endless = get;
    while (endless.size() < 1300000)  // more than a MiB, without an end
        endless += "A:bcdefghijklmno\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {get + "A: " + line + "\r\n\r\n", ECHOED},  // too long: the head ends before it
        {"GET /" + line + "\r\n\r\n", NOT_FOUND},  {endless, ECHOED},
        {get + "A: " + bytes + "\n\n", ECHOED},    {bytes + "\r\n\r\n", NOT_FOUND},
        {"BREW /echo\r\n\r\n", NOT_FOUND},
    };
    for (const auto& [request, answer] : cases) {
        EXPECT_THAT(Ask(m_server->Port(), request), StartsWith(answer)) << request.substr(0, 60);
        EXPECT_EQ(Get("/echo"), ECHOED);
    }
}

TEST_F(RkHttpServerConcurrentTest, PeersThatEndEarlyAreAnsweredOrForgotten) {
    TestClient half(m_server->Port());
    half.Write("GET /echo HTTP/1.0\r\nA: ");
    half.ShutdownWrite();
    EXPECT_EQ(half.ReadAll(), ECHOED);
    for (const char* begin : {"", "GET /ec", "GET /echo\r\n\r\n", "POST /echo\r\nContent-Length: 9\r\n\r\na="}) {
        TestClient gone(m_server->Port());
        gone.Write(begin);
        gone.Reset();
        EXPECT_EQ(Get("/echo"), ECHOED);
    }
}

TEST_F(RkHttpServerConcurrentTest, StalledClientsDoNotHoldUpDestruction) {
    m_server = std::make_unique<TestServer>(m_dir / "");  // waits for its clients as long as they like
    std::ofstream(m_dir / "large") << std::string(8 << 20, 'x');
    Stall({"", "GET /par", "GET /large\r\n\r\n", "POST /x\r\nContent-Length: 100\r\n\r\nhalf"});
    EXPECT_LT(TimeToDestroy(), STOP_LIMIT);
}

TEST_F(RkHttpServerConcurrentTest, SilentTlsClientsNeitherStopTheServiceNorTheEnd) {
    struct TlsFactory : RkTcpSocketFactory {
        explicit TlsFactory(const TempDir& dir) : m_dir(dir) {}
        RkTcpSocket* CreateSocket() override { return new RkSSLSocket(m_dir / "tls.key", m_dir / "tls.pem", true); }
        const TempDir& m_dir;
    };
    MakeSelfSigned().Write(m_dir / "tls");
    std::ofstream(m_dir / "page.txt") << "over TLS\n";
    m_server = std::make_unique<TestServer>(m_dir / "", 30, new TlsFactory(m_dir));
    Stall({""});
    RkSSLSocket client(m_dir / "tls.key", m_dir / "tls.pem", true);
    client.Connect(m_server->GetLocalAddress());
    RkBStream stream(client);
    (stream << "GET /page.txt HTTP/1.0\r\n\r\n").Flush();
    std::string answer;
    stream.ReadString(answer, 1000);
    EXPECT_THAT(answer, EndsWith("\r\n\r\nover TLS\n"));
    client.Close();
    EXPECT_LT(TimeToDestroy(), STOP_LIMIT);
}

TEST_F(RkHttpServerConcurrentTest, HandlerMayStopItsServer) {
    std::latch stopped(1);
    m_server->Handle("/stop", [&](RkHttpRequest&, RkBStream&) { m_server->Stop(), stopped.count_down(); });
    EXPECT_EQ(GetSoon("/stop").get(), "");
    stopped.wait();
    EXPECT_STREQ(m_server->GetState(), "shutdown");
    EXPECT_LT(TimeToDestroy(), STOP_LIMIT);
}

TEST_F(RkHttpServerConcurrentTest, ManyMayStopAtOnce) {
    m_server->Handle("/stop", [&](RkHttpRequest&, RkBStream&) { m_server->Stop(); });
    auto answer = GetSoon("/stop");
    InThreads(4, [&](int) { m_server->Stop(); });
    answer.wait();
    EXPECT_STREQ(m_server->GetState(), "shutdown");
}

TEST_F(RkHttpServerConcurrentTest, HandlerRemovedWhileItRunsFinishesItsAnswer) {
    std::latch entered(1), removed(1);
    m_server->Handle("/slow", [&](RkHttpRequest&, RkBStream& stream) {
        entered.count_down();
        removed.wait();  // hangs if the map kept its lock over the call
        stream << "HTTP/1.0 200 OK\r\n\r\nlate";
    });
    auto answer = GetSoon("/slow");
    entered.wait();
    EXPECT_TRUE(m_server->GetRequestMap().removeHandler("/slow"));
    removed.count_down();
    EXPECT_THAT(answer.get(), EndsWith("\r\n\r\nlate"));
}

TEST_F(RkHttpServerConcurrentTest, StateMayBeReadAndHandlersChangedWhileRequestsRun) {
    const std::jthread watcher([&](const std::stop_token& done) {
        while (!done.stop_requested()) {
            std::ostringstream text;
            m_server->PrintSelf(text, RK_PRINT_ALL);
            m_server->Handle("/x", [](RkHttpRequest&, RkBStream& stream) { stream << "HTTP/1.0 200 OK\r\n\r\nx"; });
        }
    });
    InThreads(4, [&](int) {
        for (int k = 0; k < 25; ++k)
            EXPECT_NE(Get("/x"), "");
    });
    EXPECT_EQ(m_server->GetAcceptedCount(), 100u);
}
