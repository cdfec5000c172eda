#include "Network/HTTP/RkHttpRequestMap.h"

#include <gmock/gmock.h>

#include <memory>

#include "tests/support/HttpExchange.h"
#include "tests/support/LambdaHandler.h"

using ::testing::ElementsAre;
using ::testing::StartsWith;

namespace {

class RkHttpRequestMapTest : public ::testing::Test {
protected:
    /// A handler that writes one text; `m_living` is held by it.
    RkHttpRequestHandler* Writing(const std::string& text) {
        return new LambdaHandler([text, alive = m_living](RkHttpRequest&, RkBStream& stream) { stream << text; });
    }
    std::string Get(const std::string& name) { return Exchange(m_map, "GET " + name + " HTTP/1.0\r\n\r\n"); }

    const std::shared_ptr<int> m_living = std::make_shared<int>();
    RkHttpRequestMap m_map{"/nowhere/"};
};

}  // namespace

TEST_F(RkHttpRequestMapTest, LengthOfTheBodyIsPutBehindTheStatusLine) {
    const std::string big(100000, 'b'), ok = "HTTP/1.0 200 OK\r\n";
    const struct {
        std::string written, sent;
        int status;
        RkUInt64 bytes;
    } cases[] = {
        {ok + "Content-Type: t\r\n\r\nhello", ok + "Content-Length: 5\r\nContent-Type: t\r\n\r\nhello", 200, 5},
        {ok + "\r\n" + big, ok + "Content-Length: 100000\r\n\r\n" + big, 200, 100000},
        {"A 1\r\nContent-Length: 9\r\n\r\n\r\n\r\n", "A 1\r\nContent-Length: 4\r\nContent-Length: 9\r\n\r\n\r\n\r\n", 1,
         4},
        {"no head\r\n", "no head\r\n", 0, 9},  // without an empty line as it is
        {"", "", 0, 0},
    };
    for (const auto& c : cases) {
        m_map.addHandler("/x", Writing(c.written));
        HttpExchange exchange(m_map);
        exchange.Send("GET /x HTTP/1.0\r\n\r\n");
        EXPECT_EQ(exchange.Run(), c.sent);
        EXPECT_EQ(exchange.Request().getAnswerStatus(), c.status) << c.written.substr(0, 20);
        EXPECT_EQ(exchange.Request().getAnswerBytes(), c.bytes) << c.written.substr(0, 20);
    }
}

TEST_F(RkHttpRequestMapTest, NamesAreComparedExactly) {
    m_map.addHandler("/status", Writing("S"));
    m_map.addHandler("/null", nullptr);
    for (const char* other : {"/Status", "status", "/status/", "/null"})
        EXPECT_THAT(Get(other), StartsWith("HTTP/1.0 404 Not Found\r\n")) << other;
    EXPECT_EQ(Get("/s%74atus?x"), "S");
    EXPECT_EQ(m_map.getHandler("status"), nullptr);
}

TEST_F(RkHttpRequestMapTest, OwnsItsHandlers) {
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
