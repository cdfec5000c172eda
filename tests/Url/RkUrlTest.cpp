#include "Network/Url/RkUrl.h"

#include <gtest/gtest.h>

#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"

namespace {

using namespace std::string_literals;

/// Shows what the parser left behind.
struct OpenUrl : RkUrl {
    using RkUrl::m_ipv6_hostname;
    using RkUrl::m_password_segment;
    using RkUrl::RkUrl;
};

TEST(RkUrlTest, SplitsAndCleansTheComponents) {
    const OpenUrl url("http://User:Pw@HOST:8080/a/./b/../c//d.HTML?x=1#top"s);
    EXPECT_EQ(url.getProtocol(), "http");
    EXPECT_EQ(url.getUserInfo(), "User");
    EXPECT_EQ(url.getPassWord(), "Pw");
    EXPECT_EQ(url.getHostname(), "host");
    EXPECT_EQ(url.getPort(), 8080);
    EXPECT_EQ(url.getFilename(), "a/c/d.HTML?x=1");
    EXPECT_EQ(url.getExtension(), "html");
    EXPECT_EQ(url.getAnchor(), "top");
}

TEST(RkUrlTest, ADirtyObjectParsesAnew) {
    RkUrl url("http://u:p@[::1]:1/a.b#c"s);
    url.setUrl("hostname/index.html");
    EXPECT_EQ(url.getProtocol() + url.getUserInfo() + url.getPassWord() + url.getHostname() + url.getFilename() +
                  url.getExtension() + url.getAnchor(),
              "");
    EXPECT_EQ(url.getPort(), -1);
    EXPECT_EQ(url.getUnescapedUrl(), "hostname/index.html");
    url.setUrl("");
    EXPECT_EQ(url.getUnescapedUrl() + url.getEscapedUrl(), "");
}

TEST(RkUrlTest, SplitsTheAuthorityByPosition) {
    const struct {
        std::string url, user, password, host;
        int port;
        bool v6;
    } cases[] = {
        {"http://hostname/", "", "", "hostname", -1, false},
        {"http://hostname:80/", "", "", "hostname", 80, false},
        {"http://[::1]:81/", "", "", "::1", 81, true},
        {"http://[::1]/", "", "", "::1", -1, true},
        {"http://x[::1]..", "", "", "::1", -1, true},
        {"http://::1]", "", "", "::1]", -1, false},
        {"http://]/", "", "", "]", -1, false},
        {"http://fe80::1/", "", "", "fe80", 0, false},  // split at its first colon
        {"http://@host/", "", "", "host", -1, false},
        {"http://u:@host/", "u", "", "host", -1, false},
        {"http://u:p:q@a@b/", "u", "p:q", "a@b", -1, false},
        {"http://u@/", "u", "u", "", -1, false},
        {"http://Host-.-:8x0--/", "", "", "host", 8, false},
        {"http://---/", "", "", "-", -1, false},  // the first character always stays
        {"http://h:/", "", "", "h", -1, false},
        {"http://h:-/", "", "", "h", 0, false},
        {"http://h:99999999999/", "", "", "h", 1215752191, false},
        {"http://h#a:1", "", "", "h#a", 1, false},  // an anchor needs a "/" before it
        {"http:///p", "", "", "", -1, false},
        {"http://", "", "", "", -1, false},
        {"http://h%00ost:1/p", "", "", "h\0ost:1/p"s, -1, false},  // searches end at the NUL
    };
    for (const auto& c : cases) {
        const OpenUrl url(c.url);
        EXPECT_EQ(url.getUserInfo(), c.user) << c.url;
        EXPECT_EQ(url.getPassWord(), c.password) << c.url;
        EXPECT_EQ(url.getHostname(), c.host) << c.url;
        EXPECT_EQ(url.getPort(), c.port) << c.url;
        EXPECT_EQ(url.m_ipv6_hostname, c.v6) << c.url;
    }
}

TEST(RkUrlTest, UserWithoutPasswordIsItsOwnPassword) {
    const OpenUrl url("http://user@hostname/"s);
    EXPECT_EQ(url.getUserInfo(), "user");
    EXPECT_EQ(url.getPassWord(), "user");
    EXPECT_TRUE(url.m_password_segment);
}

TEST(RkUrlTest, LeadingWhiteSpaceShortensTheScheme) {
    EXPECT_EQ(RkUrl("HTTPS://x"s).getProtocol(), "https");
    EXPECT_EQ(RkUrl("  http://x"s).getProtocol(), "ht");
    EXPECT_EQ(RkUrl("\t+ http://x"s).getProtocol(), "h");
    EXPECT_EQ(RkUrl("     http://x"s).getProtocol(), "");
    EXPECT_EQ(RkUrl("://x/y"s).getFilename(), "");
}

TEST(RkUrlTest, AUrlInsideAPathOrQueryGetsAHostInFront) {
    const RkUrl url("hostname/redirect?to=http://x"s);
    EXPECT_EQ(url.getUnescapedUrl(), "http://hostname/redirect?to=http://x");
    EXPECT_EQ(url.getEscapedUrl(), "hostname/redirect?to=http://x");
    EXPECT_EQ(url.getHostname(), "hostname");
    EXPECT_EQ(url.getFilename(), "redirect?to=http://x");
}

TEST(RkUrlTest, CleansThePathOnly) {
    const struct {
        std::string path, filename, extension, anchor;
    } cases[] = {
        {"a/../../b/", "../b/", "", ""},
        {"../../c/../d", "../../d", "", ""},
        {"./", "", "", ""},
        {"//a//./b.C?x=/../y.z", "a/b.C?x=/../y.z", "c", ""},
        {"a/..?q", "?q", "", ""},
        {"page#", "page#", "", ""},  // keeps its "#"
        {"#top", "", "", "top"},
        {"a.b#c#d.e", "a.b", "b", "c#d.e"},
        {"a.b/c", "a.b/c", "", ""},
        {"a.", "a.", "", ""},
        {"a..b/...", "a..b/...", "", ""},
        {"x%2F..%2Fy.gif", "y.gif", "gif", ""},
        {"a%00/../b?c.d", "a\0/../b?c.d"s, "", ""},
    };
    for (const auto& c : cases) {
        const RkUrl url("http://h/" + c.path);
        EXPECT_EQ(url.getFilename(), c.filename) << c.path;
        EXPECT_EQ(url.getExtension(), c.extension) << c.path;
        EXPECT_EQ(url.getAnchor(), c.anchor) << c.path;
    }
    EXPECT_EQ(RkUrl("http://h/a/../b"s).getUnescapedUrl(), "http://h/a/../b");
}

TEST(RkUrlTest, SetHostnameReplacesByPosition) {
    const struct {
        const char *before, *after;
    } cases[] = {
        {"http://host:80/path", "http://new:80/path"},
        {"http://u:p@host:80/path", "http://u:p@new:80/path"},
        {"http://host/path", "http://new"},  // without a port all that follows goes too
        {"http://@host:80/", "http://@new:80/"},
        {"h/r?u=http://x:1/", "h/r?u=hnew"},  // seven off: the scheme was put in front
        {"http://", "http://new"},
        {"", "new"},
        {"ab", "abnew"},
        {"abcde", "abcnewde"},
    };
    for (const auto& c : cases) {
        RkUrl url{std::string(c.before)};
        url.setHostname("new");
        EXPECT_EQ(url.getEscapedUrl(), c.after) << c.before;
    }
}

TEST(RkUrlTest, TakesItsOwnTexts) {
    RkUrl url("http://host:80/http%3A%2F%2Fother%2Fx"s);
    url.setHostname(url.getFilename());
    EXPECT_EQ(url.getEscapedUrl(), "http://http:/other/x:80/http%3A%2F%2Fother%2Fx");
    url.setUrl("http://h/?http%3A//y");
    url.setUrl(url.getUnescapedUrl());
    EXPECT_EQ(url.getEscapedUrl(), "http://h/?http://y");
    url.setUrl(url.getEscapedUrl());
    EXPECT_EQ(url.getHostname(), "h");
    std::string text = "a b";
    RkUrl::escapeString(text, text);
    EXPECT_EQ(text, "a ba%20b");
}

TEST(RkUrlTest, CodesPercentTripletsOfAllBytes) {
    std::string all, encoded, decoded;
    for (int i = 0; i < 1024; ++i)
        all += static_cast<char>(i * 7 / 4);
    EXPECT_EQ(RkUrl::unescapeString(RkUrl::escapeString(all, encoded), decoded), all);

    const struct {
        std::string in, encoded, decoded;
    } cases[] = {
        {"a b-c", "a%20b%2Dc", "a b-c"},
        {"%4a+%zz", "%254a%2B%25zz", "J %zz"},
        {"%4", "%254", "%4"},
        {"%%41%4%2G%", "%25%2541%254%252G%25", "%A%4%2G%"},
        {"\x0F\xFF~", "%0F%FF%7E", "\x0F\xFF~"},
        {std::string(253, 'x') + "%41%4", std::string(253, 'x') + "%2541%254", std::string(253, 'x') + "A%4"},
    };
    for (const auto& c : cases) {
        std::string escaped = ">", unescaped = ">";
        EXPECT_EQ(RkUrl::escapeString(c.in, escaped), ">" + c.encoded);
        EXPECT_EQ(RkUrl::unescapeString(c.in, unescaped), ">" + c.decoded);
    }
}

TEST(RkUrlTest, KnowsServicesAndPorts) {
    const struct {
        std::string scheme;
        RkUrl::ServiceType service;
        RkUrl::DefaultPort port;
    } cases[] = {
        {"http", RkUrl::RK_SERVICE_HTTP, RkUrl::RK_PORT_HTTP},
        {"https", RkUrl::RK_SERVICE_HTTPS, RkUrl::RK_PORT_HTTPS},
        {"ftp", RkUrl::RK_SERVICE_FTP, RkUrl::RK_PORT_FTP},
        {"gopher", RkUrl::RK_SERVICE_GOPHER, RkUrl::RK_PORT_GOPHER},
        {"realaudio", RkUrl::RK_SERVICE_RA, RkUrl::RK_PORT_RA},
        {"news", RkUrl::RK_SERVICE_NNTP, RkUrl::RK_PORT_NNTP},
        {"irc", RkUrl::RK_SERVICE_IRC, RkUrl::RK_PORT_IRC},
        {"telnet", RkUrl::RK_SERVICE_TELNET, RkUrl::RK_PORT_TELNET},
        {"nntp", RkUrl::RK_SERVICE_OTHER, RkUrl::RK_PORT_UNKNOWN},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RkUrl(c.scheme + "://x").getServiceType(), c.service) << c.scheme;
        EXPECT_EQ(RkUrl::getDefaultPort(c.scheme), c.port) << c.scheme;
        EXPECT_EQ(RkUrl::getDefaultPort(static_cast<unsigned short>(c.service)), c.port) << c.scheme;
    }
}

TEST(RkUrlTest, NormalizesNumericHostsOnly) {
    const struct {
        const char *before, *after;
    } cases[] = {
        {"HTTP://u:p@0x7f.1:080/a/./b.c#top", "http://u:p@127.0.0.1:080/a/b.c#top"},
        {"http://u:@1/x#", "http://u:@0.0.0.1/x##"},
        {"http://[FE80:0::1]/", "http://[fe80::1]"},
        {"http://127.0.0.1/./", "http://127.0.0.1/./"},  // is canonical already
        {"HTTP://name/./", "HTTP://name/./"},
    };
    for (const auto& c : cases) {
        RkUrl url{std::string(c.before)};
        url.normalizeHostname();
        EXPECT_EQ(url.getUnescapedUrl(), c.after) << c.before;
    }
}

class RkUrlAddressTest : public ::testing::Test {
protected:
    RkUrlAddressTest() {
        RkDnsCache::Itself().Clear();
        m_resolver.Add("four", {"10.0.0.1"});
        m_resolver.Add("mapped", {"::ffff:10.0.0.2"});
        m_resolver.Add("six", {"fe80::1"});
    }
    ~RkUrlAddressTest() override { RkUrl::enableDnsLookup(true); }

    static std::string IPv4Text(const RkUrl& url) {
        std::string text = "before";
        return url.getIPv4Address(text);
    }

    FakeResolver m_resolver;
};

TEST_F(RkUrlAddressTest, LooksTheHostUpOnceAndForgetsItWithTheUrl) {
    RkUrl url("http://four/"s);
    EXPECT_EQ(url.getIpAddress(), 0x0A000001u);
    RkDnsCache::Itself().Clear();
    unsigned int address = 0;
    url.getIpAddress(address);
    EXPECT_EQ(address, 0x0A000001u);
    EXPECT_EQ(m_resolver.TotalLookups(), 1);
    url.setUrl("http://unknown/");
    EXPECT_EQ(url.getIpAddress(), 0u);
}

TEST_F(RkUrlAddressTest, AnIPv6AddressIsNoNumber) {
    const RkUrl url("http://six/"s);
    RkInetAddress address;
    url.getIpAddress(address);
    EXPECT_EQ(address, RkInetAddress("fe80::1", 0));
    unsigned int untouched = 7;
    url.getIpAddress(untouched);
    EXPECT_EQ(untouched, 7u);
    EXPECT_THROW((void)url.getIpAddress(), RkNetworkException);
}

TEST_F(RkUrlAddressTest, GivesDottedTextOfWhateverIsIPv4) {
    const struct {
        const char *url, *text;
    } cases[] = {
        {"http://four/", "10.0.0.1"},   {"http://mapped/", "10.0.0.2"},  {"http://six/", ""},
        {"http://unknown/", "0.0.0.0"}, {"http://0x7f.1/", "127.0.0.1"}, {"http://[fe80::1]/", ""},
        {"nothing", "0.0.0.0"},
    };
    RkUrl::enableDnsLookup(false);  // is not looked at here
    for (const auto& c : cases)
        EXPECT_EQ(IPv4Text(RkUrl(std::string(c.url))), c.text) << c.url;
}

TEST_F(RkUrlAddressTest, SwallowsWhateverTheResolverThrows) {
    m_resolver.OnLookup([](const std::string&) { throw 7; });
    const RkUrl url("http://four/"s);
    EXPECT_EQ(url.getIpAddress(), 0u);
    EXPECT_EQ(IPv4Text(url), "0.0.0.0");
}

TEST_F(RkUrlAddressTest, AsksNobodyWhereLookupsAreDisabledOrAnAddressIsStored) {
    RkUrl url("http://four/"s);
    RkUrl::enableDnsLookup(false);
    EXPECT_EQ(url.getIpAddress(), 0u);
    RkUrl::enableDnsLookup(true);
    url.setIpAddress(0x01020304u);
    EXPECT_EQ(IPv4Text(url), "1.2.3.4");
    EXPECT_EQ(url.getIpAddressReference(), RkInetAddress("1.2.3.4", 0));
    EXPECT_EQ(m_resolver.TotalLookups(), 0);
}

}  // namespace
