#include "Network/HTTP/RkHttpHeader.h"

#include <gmock/gmock.h>

using ::testing::StartsWith;

TEST(RkHttpHeaderTest, ResponseHeadHasStatusTypeAndLength) {
    EXPECT_EQ(RkHttpHeader(200, "text/html", 42).GetHeader(),
              "HTTP/1.0 200 OK\r\nAccept: */*\r\nContent-Type: text/html\r\nContent-Length: 42\r\n\r\n");
}

TEST(RkHttpHeaderTest, StatusChoosesThePhrase) {
    const struct {
        int status;
        const char* line;
    } cases[] = {
        {404, "HTTP/1.0 404 Not Found\r\n"},
        {302, "HTTP/1.0 302 Moved Temporarily\r\n"},
        {503, "HTTP/1.0 503 Service Unavailable\r\n"},
        {299, "HTTP/1.0 299 \r\n"},  // unknown
    };
    RkHttpHeader header(200, "", -1);
    for (const auto& c : cases) {
        header.SetStatus(c.status);
        EXPECT_THAT(header.GetHeader(), StartsWith(std::string(c.line) + "Accept: */*\r\nContent-Type: \r\n"));
    }
}

TEST(RkHttpHeaderTest, PhraseOf407KeepsItsBlanks) {
    EXPECT_THAT(RkHttpHeader(407, "", 0).GetHeader(),
                StartsWith("HTTP/1.0 407 Proxy Authentication Required ( Access is denied.  ) \r\n"));
}

TEST(RkHttpHeaderTest, RequestLineIsMisspelt) {
    RkHttpHeader header(200, "text/plain", -5);
    header.SetFile("/a");
    EXPECT_EQ(header.GetHeader(),
              "GET /a HTPP/1.0\r\nAccept: */*\r\nContent-Type: text/plain\r\nContent-Length: -5\r\n\r\n");
}

TEST(RkHttpHeaderTest, FieldsForAProxyHaveTheirOwnNames) {
    RkHttpHeader header(200, "t", 1);
    header.SetAuthentication("Basic");
    header.SetAuthorization("Digest");
    header.SetAuthString("xyz");
    header.SetUserAgent("agent");
    header.SetConnection("close");
    const std::string begin = "HTTP/1.0 200 OK\r\nAccept: */*\r\nContent-Type: t\r\n",
                      end = "Content-Length: 1\r\n\r\n";
    EXPECT_EQ(header.GetHeader(), begin +
                                      "WWW-Authenticate: Basic xyz\r\nAuthorization: Digest xyz\r\n"
                                      "User-Agent: agent\r\nConnection: close\r\n" +
                                      end);
    header.SetProxyAuthenticate(true);
    EXPECT_EQ(header.GetHeader(), begin +
                                      "Proxy-Authenticate: Basic xyz\r\nProxy-Authorization: Digest xyz\r\n"
                                      "User-Agent: agent\r\nProxy-Connection: close\r\n" +
                                      end);
}
