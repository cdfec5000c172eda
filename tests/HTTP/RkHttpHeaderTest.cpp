#include "Network/HTTP/RkHttpHeader.h"

#include <gmock/gmock.h>

#include <locale>

#include "tests/support/GroupingLocale.h"

TEST(RkHttpHeaderTest, StatusChoosesThePhrase) {
    RkHttpHeader header(200, "text/html", -5);
    const std::string fields = "\r\nAccept: */*\r\nContent-Type: text/html\r\nContent-Length: -5\r\n\r\n";
    for (const std::string line :
         {"200 OK", "202 Accepted", "302 Moved Temporarily", "304 Not Modified", "404 Not Found",
          "407 Proxy Authentication Required ( Access is denied.  ) ", "299 "}) {
        header.SetStatus(std::stoi(line));
        EXPECT_EQ(header.GetHeader(), "HTTP/1.0 " + line + fields);
    }
}

TEST(RkHttpHeaderTest, NumbersDoNotFollowTheLocale) {
    const std::locale before = std::locale::global(GroupingLocale());
    const std::string head = RkHttpHeader(200, "t", 1234567).GetHeader();
    std::locale::global(before);
    EXPECT_THAT(head, testing::HasSubstr("Content-Length: 1234567\r\n"));
}

TEST(RkHttpHeaderTest, RequestLineIsMisspelt) {
    RkHttpHeader header(200, "t", 5);
    header.SetFile("/a");
    EXPECT_EQ(header.GetHeader(), "GET /a HTPP/1.0\r\nAccept: */*\r\nContent-Type: t\r\nContent-Length: 5\r\n\r\n");
}

TEST(RkHttpHeaderTest, FieldsForAProxyHaveTheirOwnNames) {
    RkHttpHeader header(200, "t", 1);
    header.SetAuthentication("Basic");
    header.SetAuthorization("Digest");
    header.SetAuthString("xyz");
    header.SetUserAgent("agent");
    header.SetConnection("close");
    const std::string begin = "HTTP/1.0 200 OK\r\nAccept: */*\r\nContent-Type: t\r\n",
                      agent = " xyz\r\nUser-Agent: agent\r\n";
    const std::string end = "Connection: close\r\nContent-Length: 1\r\n\r\n";
    EXPECT_EQ(header.GetHeader(), begin + "WWW-Authenticate: Basic xyz\r\nAuthorization: Digest" + agent + end);
    header.SetProxyAuthenticate(true);
    EXPECT_EQ(header.GetHeader(),
              begin + "Proxy-Authenticate: Basic xyz\r\nProxy-Authorization: Digest" + agent + "Proxy-" + end);
}
