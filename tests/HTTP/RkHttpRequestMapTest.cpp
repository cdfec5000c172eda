#include "Network/HTTP/RkHttpRequestMap.h"

#include <gmock/gmock.h>

#include "tests/support/HttpExchange.h"

using ::testing::ElementsAre;
using ::testing::StartsWith;

namespace {

/// Writes one text; counts how many of its kind live.
class TextHandler : public RkHttpRequestHandler {
public:
    explicit TextHandler(std::string text) : m_text(std::move(text)) { ++living; }
    ~TextHandler() override { --living; }
    void handleRequest(RkHttpRequest&, RkBStream& stream) override { stream << m_text; }

    static inline int living = 0;

private:
    const std::string m_text;
};

class RkHttpRequestMapTest : public ::testing::Test {
protected:
    void Add(const std::string& name, const std::string& text) { m_map.addHandler(name, new TextHandler(text)); }
    std::string Get(const std::string& name) { return Exchange(m_map, "GET " + name + " HTTP/1.0\r\n\r\n"); }

    RkHttpRequestMap m_map{"/nowhere/"};
};

}  // namespace

TEST_F(RkHttpRequestMapTest, LengthOfTheBodyIsPutBehindTheStatusLine) {
    const std::string big(100000, 'b');
    const struct {
        std::string written, sent;
        int status;
        RkUInt64 bytes;
    } cases[] = {
        {"HTTP/1.0 200 OK\r\nContent-Type: t\r\n\r\nhello",
         "HTTP/1.0 200 OK\r\nContent-Length: 5\r\nContent-Type: t\r\n\r\nhello", 200, 5},
        {"HTTP/1.0 302 Moved\r\n\r\n", "HTTP/1.0 302 Moved\r\nContent-Length: 0\r\n\r\n", 302, 0},
        {"HTTP/1.0 200 OK\r\n\r\n" + big, "HTTP/1.0 200 OK\r\nContent-Length: 100000\r\n\r\n" + big, 200, 100000},
        {"A 1\r\nContent-Length: 9\r\n\r\n\r\n\r\n", "A 1\r\nContent-Length: 4\r\nContent-Length: 9\r\n\r\n\r\n\r\n", 1,
         4},
        {"no head\r\n", "no head\r\n", 0, 9},  // without an empty line as it is
        {"", "", 0, 0},
    };
    for (const auto& c : cases) {
        Add("/x", c.written);
        HttpExchange exchange(m_map);
        exchange.Send("GET /x HTTP/1.0\r\n\r\n");
        EXPECT_EQ(exchange.Run(), c.sent);
        EXPECT_EQ(exchange.Request().getAnswerStatus(), c.status) << c.written.substr(0, 20);
        EXPECT_EQ(exchange.Request().getAnswerBytes(), c.bytes) << c.written.substr(0, 20);
    }
}

TEST_F(RkHttpRequestMapTest, NamesAreCompareExactly) {
    Add("/status", "S");
    for (const char* other : {"/Status", "status", "/status/", "/statu"})
        EXPECT_THAT(Get(other), StartsWith("HTTP/1.0 404 Not Found\r\n")) << other;
    EXPECT_EQ(Get("/s%74atus?x"), "S");
    EXPECT_EQ(m_map.getHandler("status"), nullptr);
    EXPECT_NE(m_map.getHandler("/status"), nullptr);
}

TEST_F(RkHttpRequestMapTest, OwnsItsHandlers) {
    Add("/b", "1");
    Add("/a", "2");
    Add("/b", "3");
    EXPECT_EQ(TextHandler::living, 2);
    EXPECT_EQ(Get("/b"), "3");
    EXPECT_THAT(m_map.enumerateFilenames(), ElementsAre("/a", "/b"));
    EXPECT_TRUE(m_map.removeHandler("/a"));
    EXPECT_FALSE(m_map.removeHandler("/a"));
    EXPECT_EQ(TextHandler::living, 1);
}

TEST_F(RkHttpRequestMapTest, HandlerThatRemovesItselfFinishesItsAnswer) {
    struct SelfRemover : TextHandler {
        explicit SelfRemover(RkHttpRequestMap& map) : TextHandler("still here"), m_map(map) {}
        void handleRequest(RkHttpRequest& request, RkBStream& stream) override {
            m_map.removeHandler("/x");
            TextHandler::handleRequest(request, stream);
        }
        RkHttpRequestMap& m_map;
    };
    m_map.addHandler("/x", new SelfRemover(m_map));
    EXPECT_EQ(Get("/x"), "still here");
    EXPECT_EQ(TextHandler::living, 0);
}

TEST_F(RkHttpRequestMapTest, NullHandlerLeavesTheNameToTheDefaultHandler) {
    m_map.addHandler("/x", nullptr);
    EXPECT_THAT(Get("/x"), StartsWith("HTTP/1.0 404 Not Found\r\n"));
}
