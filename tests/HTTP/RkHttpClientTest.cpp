#include "Network/HTTP/RkHttpClient.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <future>
#include <tuple>

#include "Network/Network/RkNetworkException.h"
#include "tests/support/ScriptedPeer.h"

using testing::EndsWith, testing::StartsWith;

const RkTimePeriod kNone;
const RkTimePeriod kOneSecond(0, 0, 0, 1);
const RkTimePeriod kGenerous(0, 0, 1);
const std::string kEnd = "\r\n\r\n", kOk = "HTTP/1.0 200 OK";

/// A server that answers its one request with a text, and what it saw.
class AnsweringPeer {
public:
    explicit AnsweringPeer(const std::string& answer = kOk + kEnd, const std::string& until = kEnd)
        : m_peer([this, answer, until](ScriptedPeer::Connection& connection) {
              m_request.set_value(connection.ReadUntil(until));
              connection.Write(answer);
          }) {}

    RkUrl Url(const std::string& rest) const { return RkUrl("http://" + m_peer.Address().ToString() + rest); }
    std::string Request() { return m_request.get_future().get(); }
    RkUInt16 Port() const { return m_peer.Port(); }

private:
    std::promise<std::string> m_request;
    ScriptedPeer m_peer;
};

/// @return the failure's text, or the status line
std::string Get(const RkInetAddress& server, const RkTimePeriod& readTimeout = kGenerous) {
    RkHttpClient client("", 0, kOneSecond, readTimeout, RkTimePeriod(0, 0, 0, 0, 10));
    try {
        client.get(RkUrl("http://" + server.ToString() + "/"));
        return client.getHttpResponse();
    } catch (const RkNetworkException& e) {
        return e.GetMessage();
    }
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
    client.get(peer.Url("/a/../b.html?x=1#top"));
    EXPECT_EQ(peer.Request(), "GET /b.html?x=1 HTTP/1.0\r\nUser-Agent: Kestrion server 4.X\r\n\r\n");
    EXPECT_EQ(client.getHttpResponse(), "HTTP/1.0 404 None");
    std::string value;
    EXPECT_EQ(client.getResponseHeader("content-type", value), "text/html");
    EXPECT_EQ(client.getResponseHeader("x-a", value), "2 ");
    EXPECT_EQ(client.getResponseHeader("Content-Type", value), "");
    EXPECT_TRUE(client.getStream().ReadString(value, 4));
    EXPECT_EQ(value, "body");
}

TEST(RkHttpClient, SendsProxyCredentialsWithoutAProxyToo) {
    AnsweringPeer peer(kOk + kEnd, "p=1");
    RkHttpClient client(kNone);
    client.setUsername("user");
    client.setPassword("word");
    client.setProxyUsername("p");
    client.setProxyPassword("q");
    client.post(peer.Url("/form"), "p=1");
    EXPECT_EQ(peer.Request(),
              "POST /form HTTP/1.0\r\nUser-Agent: Kestrion server 4.X\r\nContent-Length: 3\r\n"
              "Content-Type: application/x-www-form-urlencoded\r\nAuthorization: Basic dXNlcjp3b3Jk\r\n"
              "Proxy-Authorization: Basic cDpx\r\n\r\np=1");
}

TEST(RkHttpClient, ReachesTheProxyOnlyWhenTheHostHasNoAddress) {
    AnsweringPeer proxy;
    RkUrl::enableDnsLookup(false);
    RkHttpClient client("127.0.0.1", proxy.Port(), kGenerous, kGenerous, kGenerous);
    client.get(RkUrl("http://127.0.0.2/x"));
    RkUrl::enableDnsLookup(true);
    EXPECT_THAT(proxy.Request(), StartsWith("GET http://127.0.0.2/x HTTP/1.0\r\n"));
    EXPECT_TRUE(client.getUseProxy());
}

TEST(RkHttpClient, GivesUpAProxyThatIsTheTargetItself) {
    AnsweringPeer peer;
    RkHttpClient client("127.0.0.1", 1, kGenerous, kGenerous, kGenerous);
    client.get(peer.Url("/x"));
    EXPECT_THAT(peer.Request(), StartsWith("GET /x HTTP/1.0\r\n"));
    EXPECT_FALSE(client.getUseProxy());
}

TEST(RkHttpClient, LeavesAnAnswerWithoutStatusLineInTheStream) {
    AnsweringPeer peer("just text");
    RkHttpClient client(kNone);
    client.get(peer.Url("/"));
    std::string body;
    EXPECT_EQ(client.getHttpResponse(), kOk);
    EXPECT_TRUE(client.getStream().ReadString(body, 9));
    EXPECT_EQ(body, "just text");
}

TEST(RkHttpClient, ABeginningInPiecesIsNoStatusLine) {
    // At the second look "ht" is still all there is: the four bytes seen are "htht".
    const ScriptedPeer peer([](auto& c) { c.ReadUntil(kEnd), c.Write("ht"), c.ReadAll(); });
    EXPECT_EQ(Get(peer.Address()), kOk);
}

TEST(RkHttpClient, TellsHowAnAnswerFailed) {
    enum End { CLOSE, RESET, SILENCE, BYTES };
    std::string fields;
    for (char name = 'a'; name <= 'z'; ++name)
        fields += std::string(1, name) + ':' + std::string(100000, 'x') + "\r\n";
    const std::tuple<std::string, End, std::string> cases[] = {
        {"", CLOSE, "Error reading response header"},
        {"", RESET, "Error reading response header"},
        {"", SILENCE, "Timeout on read."},
        {kOk + "\r\nA: 1", CLOSE, kOk},
        {kOk + "\r\nA", RESET, kOk},
        {kOk + "\r\nA", SILENCE, kOk},
        {"HTTP", BYTES, "HTTP/1.0 2"},
        {"HTTP/1.0 " + std::string(200000, '2'), CLOSE, ""},  // a status line beyond the limit
        {kOk + "\r\nA: " + std::string(200000, 'x'), CLOSE, kOk},
        {kOk + "\r\n" + fields, CLOSE, "Error reading response header"},
    };
    for (const auto& [answer, end, outcome] : cases) {
        const ScriptedPeer peer([&answer = answer, end = end](auto& connection) {
            connection.ReadUntil(kEnd);
            connection.Write(answer);
            if (end == RESET)
                connection.Reset();
            if (end == SILENCE)
                connection.ReadAll();
            for (const char byte : std::string(end == BYTES ? "/1.0 2\r\n\r\n" : ""))
                connection.Write({byte});
        });
        EXPECT_EQ(Get(peer.Address(), kOneSecond), outcome) << answer.substr(0, 20) << " and end " << end;
    }
}

TEST(RkHttpClient, AnUnansweredConnectShowsAtTheFirstWrite) {
    EXPECT_THAT(Get(StuckListener().Address()), StartsWith("Device write failed"));
    EXPECT_THAT(Get(UnusedAddress()), EndsWith(": Connection refused"));
}

TEST(RkHttpClient, ReadsALongBodyInLittleMemory) {
    constexpr int kPieces = 100;
    const std::string piece(1 << 20, 'x');
    ScriptedPeer peer([&](ScriptedPeer::Connection& connection) {
        connection.ReadUntil(kEnd);
        connection.Write(kOk + kEnd);
        for (int i = 0; i < kPieces; ++i)
            connection.Write(piece);
    });
    RkHttpClient client("", 0, kGenerous, kGenerous, kGenerous);
    client.get(RkUrl("http://" + peer.Address().ToString() + "/"));
    const long before = PeakKiB();
    size_t total = 0;
    char chunk[65536];
    for (ssize_t count; (count = client.getStream().Read(chunk, sizeof chunk)) > 0;)
        total += static_cast<size_t>(count);
    EXPECT_EQ(total, kPieces * piece.size());
    EXPECT_LT(PeakKiB() - before, 10 * 1024);
}

TEST(RkHttpClient, AStreamThatIsMissingOrFailsIsANetworkException) {
    RkHttpClient client(kNone);
    const auto write = [&] { client.writeRequest("GET", "", RkUrl("http://127.0.0.1/")); };
    EXPECT_THROW(client.getStream(), RkNetworkException);
    EXPECT_THROW(write(), RkNetworkException);
    AnsweringPeer peer;
    client.get(peer.Url("/"));
    client.getStream().Abort();
    EXPECT_THROW(write(), RkNetworkException);
}
