#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <latch>
#include <sstream>
#include <thread>

#include "tests/support/TempDir.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHttpServer.h"

using ::testing::EndsWith;

namespace {

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

/// Runs `work` on four threads until they are done.
template <class Work>
void OnFourThreads(Work work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
}

}  // namespace

TEST_F(RkHttpServerConcurrentTest, StalledClientsDoNotHoldUpDestruction) {
    std::ofstream(m_dir / "large") << std::string(8 << 20, 'x');
    std::vector<std::unique_ptr<TestClient>> clients;
    const char* const beginnings[] = {"", "GET /par", "GET /large\r\n\r\n",
                                      "POST /x\r\nContent-Length: 100\r\n\r\nhalf"};
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
    m_server->Handle("/stop", [&](RkHttpRequest&, RkBStream&) { m_server->Stop(), stopped.count_down(); });
    EXPECT_EQ(AskSoon("/stop").get(), "");
    stopped.wait();
    EXPECT_STREQ(m_server->GetState(), "shutdown");
    EXPECT_LT(SecondsToDestroy(), 2.0);
}

TEST_F(RkHttpServerConcurrentTest, ManyMayStopAtOnce) {
    m_server->Handle("/stop", [&](RkHttpRequest&, RkBStream&) { m_server->Stop(); });
    auto answer = AskSoon("/stop");
    OnFourThreads([&] { m_server->Stop(); });
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
    const std::jthread watcher([&](const std::stop_token& done) {
        while (!done.stop_requested()) {
            std::ostringstream text;
            m_server->PrintSelf(text, RK_PRINT_ALL);
            m_server->Handle("/x", [](RkHttpRequest&, RkBStream& stream) { stream << "HTTP/1.0 200 OK\r\n\r\nx"; });
        }
    });
    OnFourThreads([&] {
        for (int k = 0; k < 25; ++k)
            EXPECT_NE(Ask(m_server->Port(), "GET /x HTTP/1.0\r\n\r\n"), "");
    });
    EXPECT_EQ(m_server->GetAcceptedCount(), 100u);
}
