#include "Network/HTTP/RkHttpRequest.h"

#include <gmock/gmock.h>

#include "tests/support/HttpExchange.h"
#include "tests/support/LambdaHandler.h"

using ::testing::MatchesRegex;

namespace {

struct Recorder : RkTrace {
    bool IsEnabled() const override { return enabled; }
    void Write(const std::string& record) override { records.push_back(record); }
    bool enabled = true;
    std::vector<std::string> records;
};

class RkHttpRequestTest : public ::testing::Test {
protected:
    void Handle(LambdaHandler::Work work) { m_map.addHandler("/x", new LambdaHandler(std::move(work))); }

    RkHttpRequestMap m_map{"/nowhere/"};
};

}  // namespace

TEST_F(RkHttpRequestTest, FormBodyIsReadAsFarAsItsLengthIsSound) {
    Handle([](RkHttpRequest& request, RkBStream& stream) {
        stream << request.getCgi().createCgiString(false, false, false, false);
    });
    const std::pair<const char*, const char*> cases[] = {
        {"7", "q=1&a=1&b=2"},           {"3", "q=1&a=1"}, {"", "q=1"}, {"8", "q=1"}, {"-1", "q=1"}, {"131073", "q=1"},
        {"99999999999999999999", "q=1"}};
    for (const auto& [length, seen] : cases)
        EXPECT_EQ(Exchange(m_map, "POST /x?q=1 HTTP/1.0\r\nContent-Length: " + std::string(length) + "\r\n\r\na=1&b=2"),
                  seen)
            << length;
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
