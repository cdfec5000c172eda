#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <list>
#include <map>
#include <thread>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScriptedPeer.h"

namespace {

constexpr int kAtOnce = 50;
constexpr int kRounds = 20;
const RkTimePeriod kLong(0, 0, 10);

/// How many exchanges ended with which message.
using Outcomes = std::map<std::string, int>;

/// An exchange on a thread of its own, with a budget of minutes.
class RunningGet : private RkHttpClient {
public:
    /// @param asked  told when the request has gone out
    RunningGet(const std::string& url, std::latch& asked)
        : RkHttpClient("", 0, kLong, kLong, kLong), m_asked(asked), m_thread([this, url] { Get(url); }) {}

    using RkHttpClient::cancel;

    std::string Outcome() {
        m_thread.join();
        return m_outcome;
    }

private:
    void writeRequest(const std::string& method, const std::string& data, const RkUrl& url) override {
        RkHttpClient::writeRequest(method, data, url);
        m_asked.count_down();
    }

    void Get(const std::string& url) {
        try {
            get(RkUrl(url));
        } catch (const RkNetworkException& e) {
            m_outcome = e.GetMessage();
        }
    }

    std::latch& m_asked;
    std::string m_outcome = "no failure";
    std::thread m_thread;
};

/// Starts exchanges at once, cancels each once when all have come as far as `begun` tells, and awaits their ends.
/// @param urlOf  by the exchange's number
Outcomes CancelAll(const std::function<std::string(int)>& urlOf, std::latch& begun, std::latch& asked) {
    std::list<RunningGet> gets;
    for (int i = 0; i < kAtOnce; ++i)
        gets.emplace_back(urlOf(i), asked);
    begun.wait();
    for (auto& get : gets)
        get.cancel();
    Outcomes outcomes;
    for (auto& get : gets)
        ++outcomes[get.Outcome()];
    return outcomes;
}

// The look-up is the last that the outside sees before the connect: the cancels come anywhere from there to the wait.
TEST(RkHttpClientConcurrent, CancelEndsAConnectThatNobodyAnswers) {
    StuckListener stuck;
    FakeResolver resolver;
    const auto urlOf = [&](int i) {
        return "http://h" + std::to_string(i) + ':' + std::to_string(stuck.Address().GetPort()) + '/';
    };
    for (int i = 0; i < kAtOnce; ++i)
        resolver.Add('h' + std::to_string(i), {"127.0.0.1"});
    const auto before = OpenDescriptors();
    for (int round = 0; round < kRounds; ++round) {
        RkDnsCache::Itself().Clear();
        std::latch resolved(kAtOnce), asked(kAtOnce);
        resolver.OnLookup([&](const std::string&) { resolved.count_down(); });
        EXPECT_EQ(CancelAll(urlOf, resolved, asked), (Outcomes{{"Error connect was canceled.", kAtOnce}}));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(RkHttpClientConcurrent, CancelDuringTheLookUpIsNotLost) {
    ScriptedPeer peer([](ScriptedPeer::Connection& connection) { connection.Write("HTTP/1.0 200 OK\r\n\r\n"); });
    RkDnsCache::Itself().Clear();
    RkHttpClient unlimited{RkTimePeriod()};
    FakeResolver resolver;
    resolver.Add("looked-up", {"127.0.0.1"});
    resolver.OnLookup([&](const std::string&) { unlimited.cancel(); });
    const RkUrl url("http://looked-up:" + std::to_string(peer.Port()) + '/');
    EXPECT_THAT([&] { unlimited.get(url); },
                ::testing::ThrowsMessage<RkNetworkException>("Error connect was canceled."));
}

TEST(RkHttpClientConcurrent, CancelEndsTheWaitForAnAnswer) {
    const auto before = OpenDescriptors();
    for (int round = 0; round < kRounds; ++round) {
        ScriptedPeer silent([](ScriptedPeer::Connection& connection) { connection.ReadAll(); });
        const auto urlOf = [&](int) { return "http://" + silent.Address().ToString() + '/'; };
        std::latch asked(kAtOnce);
        EXPECT_EQ(CancelAll(urlOf, asked, asked), (Outcomes{{"Error read was canceled.", kAtOnce}}));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(RkHttpClientConcurrent, CancelEndsTheReadingOfABody) {
    ScriptedPeer peer([](ScriptedPeer::Connection& connection) {
        connection.ReadUntil("\r\n\r\n");
        connection.Write("HTTP/1.0 200 OK\r\n\r\n");
        connection.ReadAll();
    });
    for (int round = 0; round < kRounds; ++round) {
        RkHttpClient client("", 0, kLong, kLong, kLong);
        client.get(RkUrl("http://" + peer.Address().ToString() + '/'));
        char byte;
        auto read = std::async(std::launch::async, [&] { return client.getStream().Read(&byte, 1); });
        client.cancel();
        EXPECT_EQ(read.get(), -1);
    }
}

void AnswerBriefly(ScriptedPeer::Connection& connection) {
    connection.ReadUntil("\r\n\r\n");
    connection.Write("HTTP/1.0 200 OK\r\n\r\n");
}

TEST(RkHttpClientConcurrent, CancelBetweenExchangesLeavesTheNextOneAlone) {
    std::list<RkHttpClient> clients;
    for (int i = 0; i < kAtOnce; ++i)
        clients.emplace_back("", 0, kLong, kLong, kLong);
    const auto before = OpenDescriptors();
    {
        ScriptedPeer peer(AnswerBriefly);
        const RkUrl url("http://" + peer.Address().ToString() + '/');
        for (int round = 0; round < kRounds; ++round) {
            for (auto& client : clients)
                ASSERT_NO_THROW(client.get(url));
            std::jthread([&] {
                for (auto& client : clients)
                    client.cancel();
            }).join();
        }
    }
    EXPECT_EQ(OpenDescriptors(), before) << "a canceled client keeps no connection";
}

TEST(RkHttpClientConcurrent, CancelAtAnyMomentClosesNothingButItsOwn) {
    ScriptedPeer peer(AnswerBriefly);
    const RkUrl url("http://" + peer.Address().ToString() + '/');
    RkHttpClient client("", 0, kLong, kLong, kLong), bystander("", 0, kLong, kLong, kLong);
    {
        const std::jthread canceler([&](const std::stop_token& stop) {
            while (!stop.stop_requested())
                client.cancel();
        });
        for (int i = 0; i < 1000; ++i) {
            try {
                client.get(url);
            } catch (const RkNetworkException&) {  // canceled
            }
            ASSERT_NO_THROW(bystander.get(url));
        }
    }
    EXPECT_NO_THROW(client.get(url));
}

}  // namespace
