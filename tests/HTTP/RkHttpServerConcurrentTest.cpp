#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <latch>
#include <sstream>
#include <thread>
#include <vector>

#include "Network/HTTP/RkHttpRequest.h"
#include "Network/HTTP/RkHttpServer.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClient.h"

using ::testing::EndsWith;

namespace {

class LambdaHandler : public RkHttpRequestHandler {
public:
    using Work = std::function<void(RkHttpRequest&, RkBStream&)>;
    explicit LambdaHandler(Work work) : m_work(std::move(work)) {}
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override { m_work(request, stream); }

private:
    const Work m_work;
};

class TestHttpServer : public RkHttpServer {
public:
    explicit TestHttpServer(const std::string& root, unsigned timeout = 0)
        : RkHttpServer(NotStarted(), RkInetAddress("127.0.0.1", 0), nullptr, root, timeout) {
        Bind(1000);
        Start();
    }
    ~TestHttpServer() override { StopAndJoin(); }
    RkUInt16 Port() const { return GetLocalAddress().GetPort(); }
    RkHttpRequestMap& Map() { return GetRequestMap(); }
    void Handle(const std::string& name, LambdaHandler::Work work) {
        addHandler(name, new LambdaHandler(std::move(work)));
    }
};

class RkHttpServerConcurrentTest : public ::testing::Test {
protected:
    std::future<std::string> AskSoon(const std::string& name) {
        return std::async(std::launch::async,
                          [port = m_server->Port(), name] { return Ask(port, "GET " + name + "\r\n\r\n"); });
    }
    double SecondsToDestroy() {
        const auto before = std::chrono::steady_clock::now();
        m_server.reset();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
    }

    TempDir m_dir;
    std::unique_ptr<TestHttpServer> m_server = std::make_unique<TestHttpServer>(m_dir / "");
};

}  // namespace

TEST_F(RkHttpServerConcurrentTest, StalledClientsDoNotHoldUpDestruction) {
    std::ofstream(m_dir / "large") << std::string(8 << 20, 'x');
    std::vector<std::unique_ptr<TestClient>> clients;
    const char* const beginnings[] = {"", "GET /par", "GET /large HTTP/1.0\r\n\r\n",
                                      "POST /x HTTP/1.0\r\nContent-Length: 100\r\n\r\nhalf"};
    for (int i = 0; i < 300; ++i) {
        clients.push_back(std::make_unique<TestClient>(m_server->Port()));
        clients.back()->Send(beginnings[i % 4]);
    }
    while (m_server->GetAcceptedCount() < 300 || m_server->GetQueuedWork() > 0)
        std::this_thread::yield();
    EXPECT_LT(SecondsToDestroy(), 2.0);
}

TEST_F(RkHttpServerConcurrentTest, HandlerMayStopItsServer) {
    std::latch stopped(1);
    m_server->Handle("/stop", [&](RkHttpRequest&, RkBStream&) {
        m_server->Stop();
        stopped.count_down();
    });
    EXPECT_EQ(AskSoon("/stop").get(), "");
    stopped.wait();
    EXPECT_STREQ(m_server->GetState(), "shutdown");
    EXPECT_LT(SecondsToDestroy(), 2.0);
}

TEST_F(RkHttpServerConcurrentTest, ManyMayStopAtOnce) {
    m_server->Handle("/stop", [&](RkHttpRequest&, RkBStream&) { m_server->Stop(); });
    auto answer = AskSoon("/stop");
    std::vector<std::thread> stoppers;
    for (int i = 0; i < 4; ++i)
        stoppers.emplace_back([&] { m_server->Stop(); });
    for (auto& stopper : stoppers)
        stopper.join();
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
    auto answer = AskSoon("/slow");
    entered.wait();
    EXPECT_TRUE(m_server->Map().removeHandler("/slow"));
    removed.count_down();
    EXPECT_THAT(answer.get(), EndsWith("\r\n\r\nlate"));
}

TEST_F(RkHttpServerConcurrentTest, StateMayBeReadAndHandlersChangedWhileRequestsRun) {
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        for (int i = 0; !done; ++i) {
            std::ostringstream text;
            m_server->PrintSelf(text, RK_PRINT_ALL);
            m_server->Handle("/x", [i](RkHttpRequest&, RkBStream& stream) {
                stream << "HTTP/1.0 200 OK\r\n\r\n" << i;
            });
        }
    });
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i)
        clients.emplace_back([&] {
            for (int k = 0; k < 25; ++k)
                EXPECT_NE(Ask(m_server->Port(), "GET /x HTTP/1.0\r\n\r\n"), "");
        });
    for (auto& client : clients)
        client.join();
    done = true;
    watcher.join();
    EXPECT_EQ(m_server->GetAcceptedCount(), 100u);
}

TEST_F(RkHttpServerConcurrentTest, DestructionWhileClientsComeLosesNoBytesOfOthers) {
    std::atomic<bool> done{false};
    std::vector<std::thread> clients;
    const RkUInt16 port = m_server->Port();
    std::latch busy(4);
    for (int i = 0; i < 4; ++i)
        clients.emplace_back([&] {
            for (bool first = true; !done; first = false) {
                try {
                    Ask(port, "GET / HTTP/1.0\r\n\r\n");
                } catch (const std::exception&) {
                    // refused or reset: the server is gone
                }
                if (first)
                    busy.count_down();
            }
        });
    busy.wait();
    EXPECT_LT(SecondsToDestroy(), 2.0);
    done = true;
    for (auto& client : clients)
        client.join();
}
