#include "Network/HTTP/RkHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <future>

#include "Network/Network/RkNetworkException.h"
#include "tests/support/ScriptedPeer.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

const RkTimePeriod kNone;
const RkTimePeriod kOneSecond(0, 0, 0, 1);
const RkTimePeriod kGenerous(0, 0, 1);

std::string UrlOf(const ScriptedPeer& peer, const std::string& rest) {
    return "http://127.0.0.1:" + std::to_string(peer.Port()) + rest;
}

/// A server that answers every request with the same text, and what it saw.
class AnsweringPeer {
public:
    explicit AnsweringPeer(const std::string& answer, const std::string& until = "\r\n\r\n")
        : m_peer([this, answer, until](ScriptedPeer::Connection& connection) {
              m_request.set_value(connection.ReadUntil(until));
              connection.Write(answer);
          }) {}

    std::string Url(const std::string& rest) const { return UrlOf(m_peer, rest); }
    std::string Request() { return m_request.get_future().get(); }
    RkUInt16 Port() const { return m_peer.Port(); }

private:
    std::promise<std::string> m_request;
    ScriptedPeer m_peer;
};

/// @return the failure's text, or the status line
std::string Get(RkHttpClient& client, const std::string& url) {
    try {
        client.get(RkUrl(url));
        return client.getHttpResponse();
    } catch (const RkNetworkException& e) {
        return e.GetMessage();
    }
}

/// Gets from a peer that follows `script`.
std::string Get(const ScriptedPeer::Script& script, const RkTimePeriod& readTimeout = kGenerous) {
    ScriptedPeer peer(script);
    RkHttpClient client("", 0, kGenerous, readTimeout, kGenerous);
    return Get(client, UrlOf(peer, "/"));
}

/// The most memory that this process has had so far.
long PeakKiB() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(RkHttpClient, ReadsTheHeadAndLeavesTheBody) {
    AnsweringPeer peer("HTTP/1.0 404 None\r\nContent-Type : text/html\r\nX-A:   1\r\nno field\r\nx-a: 2 \r\n\r\nbody");
    RkHttpClient client("", 0, kGenerous, kGenerous, kGenerous);
    client.get(RkUrl(peer.Url("/a/../b.html?x=1#top")));
    EXPECT_EQ(peer.Request(), "GET /b.html?x=1 HTTP/1.0\r\nUser-Agent: Kestrion server 4.X\r\n\r\n");
    EXPECT_EQ(client.getHttpResponse(), "HTTP/1.0 404 None");
    std::string value;
    EXPECT_EQ(client.getResponseHeader("content-type", value), "text/html");
    EXPECT_EQ(client.getResponseHeader("x-a", value), "2 ");
    EXPECT_EQ(client.getResponseHeader("Content-Type", value), "");
    EXPECT_TRUE(client.getStream().ReadString(value, 4));
    EXPECT_EQ(value, "body");
}

TEST(RkHttpClient, PostsAForm) {
    AnsweringPeer peer("HTTP/1.0 200 OK\r\n\r\n", "p=1");
    RkHttpClient client(kNone);
    client.setUsername("user");
    client.setPassword("word");
    client.post(RkUrl(peer.Url("/form")), "p=1");
    EXPECT_EQ(peer.Request(),
              "POST /form HTTP/1.0\r\nUser-Agent: Kestrion server 4.X\r\nContent-Length: 3\r\n"
              "Content-Type: application/x-www-form-urlencoded\r\nAuthorization: Basic dXNlcjp3b3Jk\r\n\r\np=1");
}

TEST(RkHttpClient, SendsProxyCredentialsWithoutAProxyToo) {
    AnsweringPeer peer("HTTP/1.0 200 OK\r\n\r\n");
    RkHttpClient client(kNone);
    client.setProxyUsername("p");
    client.setProxyPassword("q");
    client.get(RkUrl(peer.Url("/")));
    EXPECT_THAT(peer.Request(), HasSubstr("\r\nProxy-Authorization: Basic cDpx\r\n"));
}

TEST(RkHttpClient, ReachesTheProxyOnlyWhenTheHostHasNoAddress) {
    AnsweringPeer proxy("HTTP/1.0 200 OK\r\n\r\n");
    RkUrl::enableDnsLookup(false);
    RkHttpClient client("127.0.0.1", proxy.Port(), kGenerous, kGenerous, kGenerous);
    client.get(RkUrl("http://127.0.0.2/x"));
    RkUrl::enableDnsLookup(true);
    EXPECT_THAT(proxy.Request(), StartsWith("GET http://127.0.0.2/x HTTP/1.0\r\n"));
    EXPECT_TRUE(client.getUseProxy());
}

TEST(RkHttpClient, GivesUpAProxyThatIsTheTargetItself) {
    AnsweringPeer peer("HTTP/1.0 200 OK\r\n\r\n");
    RkHttpClient client("127.0.0.1", 1, kGenerous, kGenerous, kGenerous);
    client.get(RkUrl(peer.Url("/x")));
    EXPECT_THAT(peer.Request(), StartsWith("GET /x HTTP/1.0\r\n"));
    EXPECT_FALSE(client.getUseProxy());
}

TEST(RkHttpClient, LeavesAnAnswerWithoutStatusLineInTheStream) {
    AnsweringPeer peer("just text");
    RkHttpClient client(kNone);
    client.get(RkUrl(peer.Url("/")));
    std::string body;
    EXPECT_EQ(client.getHttpResponse(), "HTTP/1.0 200 OK");
    EXPECT_TRUE(client.getStream().ReadString(body, 9));
    EXPECT_EQ(body, "just text");
}

TEST(RkHttpClient, ABeginningInPiecesIsNoStatusLine) {
    // At the second look "ht" is still all there is: the four bytes seen are "htht".
    const auto script = [](ScriptedPeer::Connection& connection) {
        connection.ReadUntil("\r\n\r\n");
        connection.Write("ht");
        connection.ReadAll();
    };
    EXPECT_EQ(Get(script), "HTTP/1.0 200 OK");
}

TEST(RkHttpClient, TellsHowAnAnswerFailed) {
    const struct {
        const char* name;
        ScriptedPeer::Script script;
        const char* outcome;
    } cases[] = {
        {"closes at once", [](auto& c) { c.ReadUntil("\r\n\r\n"); }, "Error reading response header"},
        {"resets", [](auto& c) { c.ReadUntil("\r\n\r\n"), c.Reset(); }, "Error reading response header"},
        {"says nothing", [](auto& c) { c.ReadAll(); }, "Timeout on read."},
        {"ends in the head", [](auto& c) { c.ReadUntil("\r\n\r\n"), c.Write("HTTP/1.0 200 OK\r\nA: 1"); },
         "HTTP/1.0 200 OK"},
        {"resets in the head", [](auto& c) { c.ReadUntil("\r\n\r\n"), c.Write("HTTP/1.0 200 OK\r\nA"), c.Reset(); },
         "HTTP/1.0 200 OK"},
        {"falls silent in the head",
         [](auto& c) { c.ReadUntil("\r\n\r\n"), c.Write("HTTP/1.0 200 OK\r\nA"), c.ReadAll(); }, "HTTP/1.0 200 OK"},
        {"a byte at a time",
         [](auto& c) {
             c.ReadUntil("\r\n\r\n");
             for (const char* text : {"HTTP", "/", "1", ".", "0", " ", "2", "\r", "\n", "\r", "\n"})
                 c.Write(text);
         },
         "HTTP/1.0 2"},
        {"a status line beyond the limit",
         [](auto& c) { c.ReadUntil("\r\n\r\n"), c.Write("HTTP/1.0 " + std::string(200000, '2')); }, ""},
        {"a field beyond the limit",
         [](auto& c) { c.ReadUntil("\r\n\r\n"), c.Write("HTTP/1.0 200 OK\r\nA: " + std::string(200000, 'x')); },
         "HTTP/1.0 200 OK"},
        {"fields beyond the limit",
         [](auto& c) {
             c.ReadUntil("\r\n\r\n"), c.Write("HTTP/1.0 200 OK\r\n");
             for (char name = 'a'; name <= 'z'; ++name)
                 c.Write(std::string(1, name) + ':' + std::string(100000, 'x') + "\r\n");
         },
         "Error reading response header"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(Get(one.script, kOneSecond), one.outcome) << one.name;
}

TEST(RkHttpClient, ARefusedConnectIsANetworkException) {
    RkHttpClient client("", 0, kGenerous, kGenerous, kGenerous);
    EXPECT_THROW(client.get(RkUrl("http://" + UnusedAddress().ToString() + "/")), RkNetworkException);
    EXPECT_NO_THROW(client.cancel());
}

TEST(RkHttpClient, AnUnansweredConnectShowsAtTheFirstWrite) {
    StuckListener stuck;
    RkHttpClient client("", 0, kOneSecond, kGenerous, RkTimePeriod(0, 0, 0, 0, 10));
    EXPECT_THAT(Get(client, "http://" + stuck.Address().ToString() + "/"), StartsWith("Device write failed"));
}

TEST(RkHttpClient, ReadsALongBodyInLittleMemory) {
    constexpr int kPieces = 100;
    const std::string piece(1 << 20, 'x');
    ScriptedPeer peer([&](ScriptedPeer::Connection& connection) {
        connection.ReadUntil("\r\n\r\n");
        connection.Write("HTTP/1.0 200 OK\r\n\r\n");
        for (int i = 0; i < kPieces; ++i)
            connection.Write(piece);
    });
    RkHttpClient client("", 0, kGenerous, kGenerous, kGenerous);
    client.get(RkUrl(UrlOf(peer, "/")));
    const long before = PeakKiB();
    size_t total = 0;
    char chunk[65536];
    for (ssize_t count; (count = client.getStream().Read(chunk, sizeof chunk)) > 0;)
        total += static_cast<size_t>(count);
    EXPECT_EQ(total, kPieces * piece.size());
    EXPECT_LT(PeakKiB() - before, 10 * 1024);
}

TEST(RkHttpClient, ADirectWriteThatFailsIsANetworkExceptionToo) {
    AnsweringPeer peer("HTTP/1.0 200 OK\r\n\r\n");
    RkHttpClient client(kNone);
    client.get(RkUrl(peer.Url("/")));
    client.getStream().Abort();
    EXPECT_THROW(client.writeRequest("GET", "", RkUrl("http://127.0.0.1/")), RkNetworkException);
}

TEST(RkHttpClient, HasNoStreamBeforeItsFirstRequest) {
    RkHttpClient client(kNone);
    EXPECT_THROW(client.getStream(), RkNetworkException);
    EXPECT_THROW(client.writeRequest("GET", "", RkUrl("http://127.0.0.1/")), RkNetworkException);
}

}  // namespace
