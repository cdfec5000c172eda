#include <gmock/gmock.h>

#include <future>
#include <latch>
#include <list>
#include <map>
#include <thread>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/RkDnsCache.h"
#include "tests/support/FakeResolver.h"
#include "tests/support/MessageOf.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScriptedPeer.h"

using testing::ElementsAre, testing::Pair;

constexpr int kAtOnce = 50;
constexpr int kRounds = 20;
const RkTimePeriod kLong(0, 0, 10);
const std::string kAnswer = "HTTP/1.0 200 OK\r\n\r\n";
const auto Answering = ScriptedPeer::Answering;

/// Tells when its request has gone out.
struct AskingClient : RkHttpClient {
    explicit AskingClient(std::latch& asked) : RkHttpClient("", 0, kLong, kLong, kLong), m_asked(asked) {}
    void writeRequest(const std::string& method, const std::string& data, const RkUrl& url) override {
        RkHttpClient::writeRequest(method, data, url);
        m_asked.count_down();
    }
    std::latch& m_asked;
};

/// Starts exchanges at once, cancels each once when all have looked up their server or even asked it, and awaits their
/// ends. @return how many ended with which message
std::map<std::string, int> CancelAll(RkUInt16 port, bool whenAsked) {
    std::latch resolved(kAtOnce), asked(kAtOnce);
    FakeResolver resolver;
    resolver.OnLookup([&](const std::string&) { resolved.count_down(); });
    RkDnsCache::Itself().Clear();
    std::list<AskingClient> clients;
    std::list<std::future<std::string>> ends;
    for (int i = 0; i < kAtOnce; ++i) {
        auto& client = clients.emplace_back(asked);
        const std::string host = 'h' + std::to_string(i), url = "http://" + host + ':' + std::to_string(port) + '/';
        resolver.Add(host, {"127.0.0.1"});
        ends.push_back(
            std::async(std::launch::async, [&client, url] { return MessageOf([&] { client.get(RkUrl(url)); }); }));
    }
    (whenAsked ? asked : resolved).wait();
    for (auto& client : clients)
        client.cancel();
    std::map<std::string, int> outcomes;
    for (auto& end : ends)
        ++outcomes[end.get()];
    return outcomes;
}

void SayNothing(ScriptedPeer::Connection& connection) { connection.ReadAll(); }

// The look-up is the last that the outside sees before the connect: the cancels come anywhere from there to the wait.
TEST(RkHttpClientConcurrent, CancelEndsAConnectThatNobodyAnswersAndTheWaitForAnAnswer) {
    const StuckListener stuck;
    const auto before = OpenDescriptors();
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_THAT(CancelAll(stuck.Address().GetPort(), false),
                    ElementsAre(Pair("Error connect was canceled.", kAtOnce)));
        EXPECT_THAT(CancelAll(ScriptedPeer(SayNothing).Port(), true),
                    ElementsAre(Pair("Error read was canceled.", kAtOnce)));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(RkHttpClientConcurrent, CancelDuringTheLookUpIsNotLost) {
    const ScriptedPeer peer(Answering(kAnswer));
    RkDnsCache::Itself().Clear();
    RkHttpClient unlimited{RkTimePeriod()};
    FakeResolver resolver;
    resolver.Add("looked-up", {"127.0.0.1"});
    resolver.OnLookup([&](const std::string&) { unlimited.cancel(); });
    const RkUrl url("http://looked-up:" + std::to_string(peer.Port()) + '/');
    EXPECT_EQ(MessageOf([&] { unlimited.get(url); }), "Error connect was canceled.");
}

TEST(RkHttpClientConcurrent, CancelEndsTheReadingOfABody) {
    ScriptedPeer peer([](ScriptedPeer::Connection& connection) {
        Answering(kAnswer)(connection);
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

TEST(RkHttpClientConcurrent, CancelBetweenExchangesLeavesTheNextOneAlone) {
    std::list<RkHttpClient> clients;
    for (int i = 0; i < kAtOnce; ++i)
        clients.emplace_back("", 0, kLong, kLong, kLong);
    const auto before = OpenDescriptors();
    {
        ScriptedPeer peer(Answering(kAnswer));
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
    ScriptedPeer peer(Answering(kAnswer));
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
