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
    RkHTTPConnection m_connection{nullptr};
};

TEST_F(RkHTTPConnectionTest, KeepsThePortOfItsFirstConnectAndTellsAnErrorStatusAsASuccess) {
    m_answer = "HTTP/1.0 404 Not Found\r\n\r\nnone";
    for (const unsigned short port : {Port(), static_cast<unsigned short>(1)}) {
        Exchange(m_connection, port);
        EXPECT_EQ(m_connection.GetResponseResult(), RkHTTPConnection::HTTP_NO_ERROR);
        EXPECT_EQ(m_connection.GetResponseCode(), 404);
        EXPECT_EQ(m_connection.GetResponseBody(), "none");
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
    EXPECT_THROW(m_connection.Connect("user", tooLong, Port(), kUrl, kGenerous), RkBasicConnectionException);
    m_connection.Connect("user", "word", Port(), kUrl, kGenerous);
    m_connection.SetPostRequest(data);
    m_connection.Send();
    EXPECT_EQ(m_connection.GetResponseCode(), 200);
    EXPECT_THAT(m_request, HasSubstr("POST /page HTTP/1.1\r\n"));
    EXPECT_THAT(m_request, HasSubstr("Authorization: Basic dXNlcjp3b3Jk\r\n"));
}

TEST_F(RkHTTPConnectionTest, TellsWhetherItOpenedANetworkConnection) {
    ScriptedPeer peer([](ScriptedPeer::Connection& connection) {
        while (!connection.ReadUntil("\r\n\r\n").empty())
            connection.Write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    for (const long opened : {1, 0}) {
        Exchange(m_connection, peer.Port());
        EXPECT_EQ(m_connection.GetConnectionsOpened(), opened);
    }
}

TEST_F(RkHTTPConnectionTest, TellsATimeOut) {
    m_until = "never";
    m_connection.Connect(Port(), kUrl, kGenerous);
    m_connection.Connect("", "", 1, kUrl, RkTimePeriod(0, 0, 0, 0, 50));  // the changed time-out counts
    m_connection.Send();
    EXPECT_EQ(m_connection.GetResponseResult(), RkHTTPConnection::TIMEOUT);
    EXPECT_EQ(m_connection.GetResponseBody(), "Curl request timed out");
}

TEST_F(RkHTTPConnectionTest, TellsWhyThereIsNoAnswerAndWhichOptionFailed) {
    const auto setTooEarly = [this] { m_connection.SetPostRequest("before any Connect"); };
    EXPECT_EQ(MessageOf<RkBasicConnectionException>(setTooEarly), "CURL error, code: 43");  // of a missing handle
    m_connection.Send();
    EXPECT_EQ(m_connection.GetResponseResult(), RkHTTPConnection::UNKNOWN_ERROR);
    Exchange(m_connection, UnusedAddress().GetPort());
    EXPECT_EQ(m_connection.GetResponseResult(), RkHTTPConnection::UNKNOWN_ERROR);
    EXPECT_EQ(m_connection.GetResponseCode(), 0);
    EXPECT_FALSE(m_connection.GetResponseBody().empty());
}
