#include <gtest/gtest.h>

#include <barrier>
#include <latch>
#include <list>
#include <thread>
#include <vector>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/RkNetworkException.h"
#include "tests/support/ScriptedPeer.h"

namespace {

constexpr int kAtOnce = 50;
const RkTimePeriod kLong(0, 0, 10);

/// Runs an exchange with a budget on a thread of its own and cancels it from this one.
class CanceledGet {
public:
    explicit CanceledGet(const std::string& url)
        : m_client("", 0, kLong, kLong, kLong), m_thread([this, url] { Get(url); }) {}

    void Cancel() { m_client.cancel(); }

    /// Joins. @return the message of the exchange's failure
    std::string Outcome() {
        m_thread.join();
        return m_outcome;
    }

    bool Over() const { return m_over; }

private:
    void Get(const std::string& url) {
        try {
            m_client.get(RkUrl(url));
        } catch (const RkNetworkException& e) {
            m_outcome = e.GetMessage();
        }
        m_over = true;
    }

    RkHttpClient m_client;
    std::string m_outcome = "no failure";
    std::atomic<bool> m_over = false;
    std::thread m_thread;
};

/// Cancels until the exchange has ended: a cancel before its beginning is forgotten by design.
std::string CancelUntilOver(CanceledGet& get) {
    while (!get.Over()) {
        get.Cancel();
        std::this_thread::yield();
    }
    return get.Outcome();
}

TEST(RkHttpClientConcurrent, CancelEndsAConnectThatNobodyAnswers) {
    StuckListener stuck;
    std::list<CanceledGet> gets;
    for (int i = 0; i < kAtOnce; ++i)
        gets.emplace_back("http://" + stuck.Address().ToString() + "/");
    for (auto& get : gets)
        EXPECT_EQ(CancelUntilOver(get), "Error connect was canceled.");
}

TEST(RkHttpClientConcurrent, CancelEndsTheWaitForAnAnswer) {
    for (int round = 0; round < 20; ++round) {
        std::latch asked(1);
        ScriptedPeer silent([&](ScriptedPeer::Connection& connection) {
            connection.ReadUntil("\r\n\r\n");
            asked.count_down();
            connection.ReadAll();
        });
        CanceledGet get("http://" + silent.Address().ToString() + "/");
        asked.wait();
        EXPECT_EQ(CancelUntilOver(get), "Error read was canceled.");
    }
}

TEST(RkHttpClientConcurrent, CancelBetweenExchangesLeavesTheNextOneAlone) {
    ScriptedPeer peer([](ScriptedPeer::Connection& connection) {
        connection.ReadUntil("\r\n\r\n");
        connection.Write("HTTP/1.0 200 OK\r\n\r\n");
    });
    RkHttpClient client("", 0, kLong, kLong, kLong);
    std::barrier step(2);
    std::jthread canceler([&] {
        for (int i = 0; i < 200; ++i) {
            step.arrive_and_wait();
            client.cancel();
            step.arrive_and_wait();
        }
    });
    for (int i = 0; i < 200; ++i) {
        client.get(RkUrl("http://" + peer.Address().ToString() + "/"));
        step.arrive_and_wait();
        step.arrive_and_wait();
    }
    EXPECT_EQ(client.getHttpResponse(), "HTTP/1.0 200 OK");
}

}  // namespace
