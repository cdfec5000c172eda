#include "Network/HTTP/RkHttpRequest.h"

#include <gmock/gmock.h>

#include <memory>
#include <tuple>

#include "tests/support/HttpExchange.h"
#include "tests/support/LambdaHandler.h"
#include "tests/support/TextTable.h"

using testing::ElementsAre, testing::MatchesRegex, testing::StartsWith;

struct Recorder : RkTrace {
    bool IsEnabled() const override { return enabled; }
    void Write(const std::string& record) override { records.push_back(record); }
    bool enabled = true;
    std::vector<std::string> records;
};

struct RkHttpRequestTest : testing::Test {
    void Handle(LambdaHandler::Work work) { m_map.addHandler("/x", new LambdaHandler(std::move(work))); }

    /// A handler that writes one text; `m_living` is held by it.
    RkHttpRequestHandler* Writing(const std::string& text) {
        return new LambdaHandler([text, alive = m_living](RkHttpRequest&, RkBStream& stream) { stream << text; });
    }
    std::string Get(const std::string& name) { return Exchange(m_map, "GET " + name + " HTTP/1.0\r\n\r\n"); }

    RkHttpRequestMap m_map{"/nowhere/"};
    const std::shared_ptr<int> m_living = std::make_shared<int>();
};

TEST_F(RkHttpRequestTest, FormBodyIsReadAsFarAsItsLengthIsSound) {
    Handle([](RkHttpRequest& request, RkBStream& stream) {
        stream << request.getCgi().createCgiString(false, false, false, false);
    });
    const auto read = [this](const std::string& length) {
        return Exchange(m_map, "POST /x?q=1 HTTP/1.0\r\nContent-Length: " + length + "\r\n\r\na=1&b=2");
    };
    ExpectRows(read,
               "7 -> q=1&a=1&b=2 | 3 -> q=1&a=1 | -> q=1 | 8 -> q=1 | -1 -> q=1 | 131073 -> q=1 |"
               "99999999999999999999 -> q=1");
}

TEST_F(RkHttpRequestTest, SilentPeerIsResetAfterTheIdleTimeWithATraceRecord) {
    Recorder trace;
    HttpExchange exchange(m_map, 1, &trace);
    exchange.Request().parseRequest({"GET /a?b=c+d"});
    EXPECT_EQ(exchange.Run(), "");
    EXPECT_TRUE(exchange.PeerSeesTheEnd());
    ASSERT_EQ(trace.records.size(), 1u);
    EXPECT_THAT(trace.records[0], MatchesRegex("Module: RkHttpRequest: idle connection closed\nThread ID: [0-9]+\n"
                                               "HTTP METHOD: GET\nRequested File: /a\nCGI Data: b=c%20d\n"));
    trace.enabled = false;
    exchange.Request().trace("x");
    EXPECT_EQ(trace.records.size(), 1u);
}

TEST_F(RkHttpRequestTest, ExceptionOrStopOfItsHandlerEndsTheConnectionWithoutAnAnswer) {
    for (const bool stop : {false, true}) {
        Handle([&](RkHttpRequest& request, RkBStream& stream) {
            stop ? (request.Stop(), request.Stop()) : throw 42;
            stream << "HTTP/1.0 200 OK\r\n\r\n";
        });
        HttpExchange exchange(m_map);
        exchange.Send("GET /x HTTP/1.0\r\n\r\n");
        EXPECT_EQ(exchange.Run(), "");
        EXPECT_TRUE(exchange.PeerSeesTheEnd());
    }
}

TEST_F(RkHttpRequestTest, StopBeforeRunClosesAndRunDoesNothing) {
    HttpExchange exchange(m_map, 60);
    exchange.Request().Stop();
    EXPECT_TRUE(exchange.PeerSeesTheEnd());
    EXPECT_EQ(exchange.Run(), "");
    EXPECT_EQ(exchange.Request().getAnswerStatus(), 0);
    EXPECT_EQ(exchange.Request().getRemoteAddresss(), RkInetAddress());
}

TEST_F(RkHttpRequestTest, LengthOfTheBodyIsPutBehindTheStatusLine) {
    const std::string big(100000, 'b'), ok = "HTTP/1.0 200 OK\r\n";
    const std::tuple<std::string, std::string, int, RkUInt64> cases[] = {
        {ok + "Content-Type: t\r\n\r\nhello", ok + "Content-Length: 5\r\nContent-Type: t\r\n\r\nhello", 200, 5},
        {ok + "\r\n" + big, ok + "Content-Length: 100000\r\n\r\n" + big, 200, 100000},
        {"A 1\r\nContent-Length: 9\r\n\r\n\r\n", "A 1\r\nContent-Length: 2\r\nContent-Length: 9\r\n\r\n\r\n", 1, 2},
        {"no head\r\n", "no head\r\n", 0, 9},  // without an empty line as it is
        {"", "", 0, 0},
    };
    for (const auto& [written, sent, status, bytes] : cases) {
        SCOPED_TRACE(written.substr(0, 20));
        m_map.addHandler("/x", Writing(written));
        HttpExchange exchange(m_map);
        exchange.Send("GET /x HTTP/1.0\r\n\r\n");
        EXPECT_EQ(exchange.Run(), sent);
        EXPECT_EQ(exchange.Request().getAnswerStatus(), status);
        EXPECT_EQ(exchange.Request().getAnswerBytes(), bytes);
    }
}

TEST_F(RkHttpRequestTest, NamesAreComparedExactly) {
    m_map.addHandler("/status", Writing("S"));
    m_map.addHandler("/null", nullptr);
    for (const char* other : {"/Status", "status", "/status/", "/null"})
        EXPECT_THAT(Get(other), StartsWith("HTTP/1.0 404 Not Found\r\n")) << other;
    EXPECT_EQ(Get("/s%74atus?x"), "S");
    EXPECT_EQ(m_map.getHandler("status"), nullptr);
}

TEST_F(RkHttpRequestTest, OwnsItsHandlers) {
    m_map.addHandler("/b", Writing("1"));
    m_map.addHandler("/a", Writing("2"));
    m_map.addHandler("/b", Writing("3"));
    EXPECT_EQ(m_living.use_count(), 3);
    EXPECT_EQ(Get("/b"), "3");
    EXPECT_THAT(m_map.enumerateFilenames(), ElementsAre("/a", "/b"));
    EXPECT_TRUE(m_map.removeHandler("/a"));
    EXPECT_FALSE(m_map.removeHandler("/a"));
    EXPECT_EQ(m_living.use_count(), 2);
}
