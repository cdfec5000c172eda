#include "Network/HTTP/RkHttpRequest.h"

#include <gmock/gmock.h>

#include <functional>

#include "tests/support/HttpExchange.h"

using ::testing::MatchesRegex;
using ::testing::StartsWith;

namespace {

class LambdaHandler : public RkHttpRequestHandler {
public:
    using Work = std::function<void(RkHttpRequest&, RkBStream&)>;
    explicit LambdaHandler(Work work) : m_work(std::move(work)) {}
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override { m_work(request, stream); }

private:
    const Work m_work;
};

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
        stream << request.getMethod() << ' ' << request.getCgi().createCgiString(false, false, false, false);
    });
    const struct {
        const char *length, *seen;
    } cases[] = {
        {"Content-Length: 7\r\n", "POST q=1&a=1&b=2"},
        {"Content-Length: 3\r\n", "POST q=1&a=1"},
        {"", "POST q=1"},
        {"Content-Length: 8\r\n", "POST q=1"},  // more than what comes
        {"Content-Length: -1\r\n", "POST q=1"},
        {"Content-Length: 131073\r\n", "POST q=1"},
        {"Content-Length: 99999999999999999999\r\n", "POST q=1"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Exchange(m_map, "POST /x?q=1 HTTP/1.0\r\n" + std::string(c.length) + "\r\na=1&b=2"), c.seen)
            << c.length;
}

TEST_F(RkHttpRequestTest, WhatIsNoRequestGetsThe404Page) {
    const std::string nul("GET /a\0b HTTP/1.0\r\n\r\n", 21);
    for (const std::string& bytes :
         {std::string(), std::string("\r\n\r\n"), std::string("GET"), std::string("BREW /x HTTP/1.0\r\n\r\n"), nul,
          std::string("\x16\x03\x01\xff\xfe\x80"), std::string(131073, 'a') + "\r\n\r\n"})
        EXPECT_THAT(Exchange(m_map, bytes), StartsWith("HTTP/1.0 404 Not Found\r\n")) << bytes.substr(0, 20);
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

TEST_F(RkHttpRequestTest, TraceSeesTheTraffic) {
    Handle([](RkHttpRequest&, RkBStream& stream) { stream << "answer"; });
    Recorder trace;
    HttpExchange exchange(m_map, 1, &trace);
    exchange.Send("GET /x HTTP/1.0\r\n\r\n");
    EXPECT_EQ(exchange.Run(), "answer");
    EXPECT_GE(trace.records.size(), 2u);
}

TEST_F(RkHttpRequestTest, AnyExceptionEndsTheConnectionWithoutAnAnswer) {
    Handle([](RkHttpRequest&, RkBStream& stream) {
        stream << "HTTP/1.0 200 OK\r\n\r\n";
        throw 42;
    });
    HttpExchange exchange(m_map);
    exchange.Send("GET /x HTTP/1.0\r\n\r\n");
    EXPECT_EQ(exchange.Run(), "");
    EXPECT_TRUE(exchange.PeerSeesTheEnd());
}

TEST_F(RkHttpRequestTest, StopBeforeRunClosesAndRunDoesNothing) {
    HttpExchange exchange(m_map, 60);
    exchange.Request().Stop();
    EXPECT_TRUE(exchange.PeerSeesTheEnd());
    exchange.Request().Stop();
    EXPECT_EQ(exchange.Run(), "");
    EXPECT_EQ(exchange.Request().getAnswerStatus(), 0);
}

TEST_F(RkHttpRequestTest, StopByItsOwnHandlerEndsTheConnection) {
    Handle([](RkHttpRequest& request, RkBStream& stream) {
        request.Stop();
        request.Stop();
        stream << "lost";
    });
    HttpExchange exchange(m_map);
    exchange.Send("GET /x HTTP/1.0\r\n\r\n");
    EXPECT_EQ(exchange.Run(), "");
    EXPECT_TRUE(exchange.PeerSeesTheEnd());
}

TEST_F(RkHttpRequestTest, AddressOfAPeerThatIsNotThereIsEmpty) {
    RkHttpRequest request(new RkTcpSocket, m_map, nullptr, 0);
    EXPECT_EQ(request.getRemoteAddresss(), RkInetAddress());
}
