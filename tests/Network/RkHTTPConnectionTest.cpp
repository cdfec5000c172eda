#include "Network/Network/RkHTTPConnection.h"

#include <gmock/gmock.h>

#include "Network/Network/RkBasicConnectionException.h"
#include "Network/Network/RkHTTPConnectionPool.h"
#include "tests/support/MessageOf.h"
#include "tests/support/ScriptedPeer.h"

using testing::HasSubstr, testing::Not;

const RkTimePeriod kGenerous(0, 0, 1);
const std::string kUrl = "http://127.0.0.1/page";

void Exchange(RkHTTPConnection& connection, unsigned short port) {
    connection.Connect(port, kUrl, kGenerous);
    connection.Send();
}

/// Answers each connection with `answer` and remembers the last request head.
struct RkHTTPConnectionTest : testing::Test {
    RkHTTPConnectionTest()
        : m_peer([this](ScriptedPeer::Connection& connection) {
              m_request = connection.ReadUntil(m_until);
              connection.Write(m_answer);
          }) {}

    unsigned short Port() const { return m_peer.Port(); }

    std::string m_answer = "HTTP/1.0 200 OK\r\n\r\nbody";
    std::string m_until = "\r\n\r\n";
    std::string m_request;
    ScriptedPeer m_peer;
};

TEST_F(RkHTTPConnectionTest, KeepsThePortOfItsFirstConnectAndTellsAnErrorStatusAsASuccess) {
    m_answer = "HTTP/1.0 404 Not Found\r\n\r\nnone";
    RkHTTPConnection connection(nullptr);
    for (const unsigned short port : {Port(), static_cast<unsigned short>(1)}) {
        Exchange(connection, port);
        EXPECT_EQ(connection.GetResponseResult(), RkHTTPConnection::HTTP_NO_ERROR);
        EXPECT_EQ(connection.GetResponseCode(), 404);
        EXPECT_EQ(connection.GetResponseBody(), "none");
    }
}

TEST_F(RkHTTPConnectionTest, SendsTheHeadersOfItsPool) {
    RkHTTPConnectionPool pool(0, 1);
    auto* connection = static_cast<RkHTTPConnection*>(pool.Get(RkTimePeriod()));
    pool.AddHeader("X-Late: 1");  // the list began empty: the connection has none of it
    Exchange(*connection, Port());
    EXPECT_THAT(m_request, Not(HasSubstr("X-Late")));
    pool.Done(connection, true);

    connection = static_cast<RkHTTPConnection*>(pool.Get(RkTimePeriod()));
    pool.AddHeader("X-Two: 2");
    Exchange(*connection, Port());
    EXPECT_THAT(m_request, HasSubstr("X-Late: 1\r\nX-Two: 2\r\n"));
    pool.Done(connection, false);
}

TEST_F(RkHTTPConnectionTest, PostsWithCredentialsAlsoAfterSomeThatFailed) {
    m_until = "a=1";
    const std::string data = "a=1", tooLong(8000001, 'x');  // libcurl's limit for a text is 8,000,000 bytes
    RkHTTPConnection connection(nullptr);
    EXPECT_THROW(connection.Connect("user", tooLong, Port(), kUrl, kGenerous), RkBasicConnectionException);
    connection.Connect("user", "word", Port(), kUrl, kGenerous);
    connection.SetPostRequest(data);
    connection.Send();
    EXPECT_EQ(connection.GetResponseCode(), 200);
    EXPECT_THAT(m_request, HasSubstr("POST /page HTTP/1.1\r\n"));
    EXPECT_THAT(m_request, HasSubstr("Authorization: Basic dXNlcjp3b3Jk\r\n"));
}

TEST(RkHTTPConnection, TellsWhetherItOpenedANetworkConnection) {
    ScriptedPeer peer([](ScriptedPeer::Connection& connection) {
        while (!connection.ReadUntil("\r\n\r\n").empty())
            connection.Write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    RkHTTPConnection connection(nullptr);
    for (const long opened : {1, 0}) {
        Exchange(connection, peer.Port());
        EXPECT_EQ(connection.GetConnectionsOpened(), opened);
    }
}

TEST(RkHTTPConnection, TellsATimeOut) {
    ScriptedPeer silent([](ScriptedPeer::Connection& connection) { connection.ReadAll(); });
    RkHTTPConnection connection(nullptr);
    connection.Connect(silent.Port(), kUrl, kGenerous);
    connection.Connect("", "", 1, kUrl, RkTimePeriod(0, 0, 0, 0, 50));  // the changed time-out counts
    connection.Send();
    EXPECT_EQ(connection.GetResponseResult(), RkHTTPConnection::TIMEOUT);
    EXPECT_EQ(connection.GetResponseBody(), "Curl request timed out");
}

TEST(RkHTTPConnection, TellsWhyThereIsNoAnswerAndWhichOptionFailed) {
    RkHTTPConnection connection(nullptr);
    const auto setTooEarly = [&] { connection.SetPostRequest("before any Connect"); };
    EXPECT_EQ(MessageOf<RkBasicConnectionException>(setTooEarly), "CURL error, code: 43");  // of a missing handle
    connection.Send();
    EXPECT_EQ(connection.GetResponseResult(), RkHTTPConnection::UNKNOWN_ERROR);
    Exchange(connection, UnusedAddress().GetPort());
    EXPECT_EQ(connection.GetResponseResult(), RkHTTPConnection::UNKNOWN_ERROR);
    EXPECT_EQ(connection.GetResponseCode(), 0);
    EXPECT_FALSE(connection.GetResponseBody().empty());
}
