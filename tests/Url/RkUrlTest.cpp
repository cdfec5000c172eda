#include "Network/Url/RkUrl.h"

#include <gtest/gtest.h>

#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"
#include "tests/support/TextTable.h"

using namespace std::string_literals;

/// "user,password,host,port", the host in brackets if it stood in them.
std::string Authority(const std::string& text) {
    struct Open : RkUrl {
        using RkUrl::m_ipv6_hostname;
        using RkUrl::RkUrl;
    } const url(text);
    const std::string host = url.m_ipv6_hostname ? "[" + url.getHostname() + "]" : url.getHostname();
    return url.getUserInfo() + "," + url.getPassWord() + "," + host + "," + std::to_string(url.getPort());
}

/// "file name,extension,anchor".
std::string Path(const RkUrl& url) { return url.getFilename() + "," + url.getExtension() + "," + url.getAnchor(); }

TEST(RkUrlTest, SplitsTheAuthorityByPosition) {
    ExpectRows(Authority,
               "http://User:Pw@HOST:8080/x -> User,Pw,host,8080 | http://u:p:q@a@b/ -> u,p:q,a@b,-1 |"
               "http://u:@h/ -> u,,h,-1 | http://@host/ -> ,,host,-1 | h:1/index.html -> ,,,-1 | http:// -> ,,,-1 |"
               "http://[::1]:81/ -> ,,[::1],81 | http://[::1]/ -> ,,[::1],-1 | http://x[::1].. -> ,,[::1],-1 |"
               "http://::1] -> ,,::1],-1 | http://]/ -> ,,],-1 | http://fe80::1/ -> ,,fe80,0 |"
               "http://H-.-:8x0--/ -> ,,h,8 | http://---/ -> ,,-,-1 | http://h:-/ -> ,,h,0 | http://h:/ -> ,,h,-1 |"
               "http://h:4294967376 -> ,,h,2147483647 | http://h:99999999999999999999 -> ,,h,2147483647 |"
               "http://h#a:1 -> ,,h#a,1 | http:///p -> ,,,-1 |"
               "://h:1/ -> ,,,-1");
    EXPECT_EQ(Authority("http://h%00ost:1/p"), ",,h\0ost:1/p,-1"s);  // searches end at the NUL
}

TEST(RkUrlTest, UserWithoutPasswordIsItsOwnPassword) { EXPECT_EQ(Authority("http://user@h/"), "user,user,h,-1"); }

TEST(RkUrlTest, LeadingWhiteSpaceShortensTheScheme) {
    EXPECT_EQ(RkUrl("HTTPS://x"s).getProtocol(), "https");
    EXPECT_EQ(RkUrl("  http://x"s).getProtocol(), "ht");
    EXPECT_EQ(RkUrl("\t+ http://x"s).getProtocol(), "h");  // "+" is a space
    EXPECT_EQ(RkUrl("     http://x"s).getProtocol(), "");
}

TEST(RkUrlTest, CleansThePath) {
    const auto path = [](const std::string& text) { return Path(RkUrl("http://h/" + text)); };
    ExpectRows(path,
               "a/./b/../c//d.HTML?x=1#top -> a/c/d.HTML?x=1,html,top | a/../../b/ -> ../b/,, |"
               "../../c/../d -> ../../d,, | ./ -> ,, | //a//./b?x=/../y.z -> a/b?x=/../y.z,, | a/..?q -> ?q,, |"
               "x%2F..%2Fy.gif -> y.gif,gif, | #top -> ,,top | page# -> page#,, | a.b#c#d.E -> a.b,b,c#d.E |"
               "a.b/c -> a.b/c,, | a. -> a.,, | ... -> ...,, | a.B?c.d -> a.B?c.d,b,");
    EXPECT_EQ(path("a%00/../b/?c.d"), "a\0/../b/?c.d,,"s);
    EXPECT_EQ(RkUrl("http://h/a/../b"s).getUnescapedUrl(), "http://h/a/../b");
}

TEST(RkUrlTest, AUrlInsideAnotherWithoutSchemeGetsOneInFront) {
    const RkUrl url("host/to?u=http://x"s);
    EXPECT_EQ(url.getUnescapedUrl(), "http://host/to?u=http://x");
    EXPECT_EQ(url.getEscapedUrl(), "host/to?u=http://x");
    EXPECT_EQ(url.getProtocol() + "," + url.getHostname() + "," + Path(url), "http,host,to?u=http://x,,");
}

TEST(RkUrlTest, SetHostnameReplacesByPosition) {
    const auto renamed = [](const std::string& text) {
        RkUrl url(text);
        url.setHostname("new");
        return url.getEscapedUrl();
    };
    ExpectRows(renamed,
               "http://host:80/path -> http://new:80/path | http://u:p@host:80/ -> http://u:p@new:80/ |"
               "http://@host:80/ -> http://@new:80/ | http://host/path -> http://new |"  // without a port all goes
               "h/r?u=http://x:1/ -> h/r?u=hnew |"  // seven off: the scheme was put in front
               "http:// -> http://new | ab -> abnew | abcde -> abcnewde | -> new");
}

TEST(RkUrlTest, TakesItsOwnTexts) {
    RkUrl url("http://host:80/http%3A%2F%2Fother%2Fx"s);
    url.setHostname(url.getFilename());
    EXPECT_EQ(url.getEscapedUrl(), "http://http:/other/x:80/http%3A%2F%2Fother%2Fx");
    url.setUrl("http://h/?http%3A//y");
    url.setUrl(url.getUnescapedUrl());
    url.setUrl(url.getEscapedUrl());
    EXPECT_EQ(url.getEscapedUrl(), "http://h/?http://y");
    std::string text = "a b";
    EXPECT_EQ(RkUrl::escapeString(text, text), "a ba%20b");
}

TEST(RkUrlTest, CodesPercentTripletsOfAllBytes) {
    std::string all, encoded, decoded;
    for (int i = 0; i < 1024; ++i)
        all += static_cast<char>(i * 7 / 4);
    EXPECT_EQ(RkUrl::unescapeString(RkUrl::escapeString(all, encoded), decoded), all);
    EXPECT_EQ(RkUrl::escapeString("-\x0F\xFF~z", encoded = ">"), ">%2D%0F%FF%7Ez");
    const auto decode = [&](const std::string& text) { return RkUrl::unescapeString(text, decoded = ">"); };
    ExpectRows(decode,
               "%4a+%zz -> >J %zz | %4 -> >%4 | %%41%4%2G% -> >%A%4%2G% | "
               "abcdefg+%41+%4 -> >abcdefg A %4");
}

TEST(RkUrlTest, KnowsServicesAndPorts) {
    const auto known = [](const std::string& scheme) {
        const auto service = static_cast<unsigned short>(RkUrl(scheme + "://x").getServiceType());
        EXPECT_EQ(RkUrl::getDefaultPort(service), RkUrl::getDefaultPort(scheme)) << scheme;
        return std::to_string(service) + ":" + std::to_string(RkUrl::getDefaultPort(scheme));
    };
    ExpectRows(known,
               "http -> 2:80 | https -> 130:443 | ftp -> 1:21 | gopher -> 4:70 | realaudio -> 64:6770 |"
               "news -> 16:119 | irc -> 8:6667 | telnet -> 32:23 | nntp -> 128:-1");
}

TEST(RkUrlTest, NormalizesNumericHostsOnly) {
    const auto normalized = [](const std::string& text) {
        RkUrl url(text);
        url.normalizeHostname();
        return url.getUnescapedUrl();
    };
    ExpectRows(normalized,
               "HTTP://u:p@0x7f.1:080/a/./b.c#top -> http://u:p@127.0.0.1:080/a/b.c#top |"
               "http://u:@1/x# -> http://u:@0.0.0.1/x## | http://[FE80:0::1]/ -> http://[fe80::1] |"
               "HTTP://127.0.0.1/./ -> HTTP://127.0.0.1/./ | HTTP://name/./ -> HTTP://name/./");
}

struct RkUrlAddressTest : testing::Test {
    RkUrlAddressTest() {
        RkDnsCache::Itself().Clear();
        RkUrl::enableDnsLookup(true);
        m_resolver.Add("four", {"10.0.0.1"});
        m_resolver.Add("mapped", {"::ffff:10.0.0.2"});
        m_resolver.Add("six", {"fe80::1"});
    }

    FakeResolver m_resolver;
};

TEST_F(RkUrlAddressTest, LooksTheHostUpOnceUnlessLookupsAreDisabled) {
    RkUrl url("http://four/"s);
    RkUrl::enableDnsLookup(false);
    EXPECT_EQ(url.getIpAddress(), 0u);
    RkUrl::enableDnsLookup(true);
    EXPECT_EQ(url.getIpAddress(), 0x0A000001u);
    RkDnsCache::Itself().Clear();
    EXPECT_EQ(url.getIpAddress(), 0x0A000001u);
    EXPECT_EQ(m_resolver.TotalLookups(), 1);
    unsigned int number = 0;
    url.setUrl("http://four/");
    url.getIpAddress(number);
    EXPECT_EQ(number, 0x0A000001u);
    url.setUrl("http://six/");
    m_resolver.OnLookup([](const std::string&) { throw 7; });
    EXPECT_EQ(url.getIpAddress(), 0u);  // whatever the resolver throws
}

TEST_F(RkUrlAddressTest, AnIPv6AddressIsNoNumber) {
    const RkUrl url("http://six/"s);
    RkInetAddress address;
    unsigned int untouched = 7;
    url.getIpAddress(address);
    url.getIpAddress(untouched);
    EXPECT_EQ(address, RkInetAddress("fe80::1", 0));
    EXPECT_EQ(untouched, 7u);
    EXPECT_THROW((void)url.getIpAddress(), RkNetworkException);
}

TEST_F(RkUrlAddressTest, GivesDottedTextOfWhateverIsIPv4) {
    RkUrl::enableDnsLookup(false);  // is not looked at here
    const auto dotted = [](const std::string& host) {
        std::string text = "before";
        return RkUrl("http://" + host).getIPv4Address(text);
    };
    ExpectRows(dotted,
               "four -> 10.0.0.1 | mapped -> 10.0.0.2 | six -> | -> 0.0.0.0 | unknown -> 0.0.0.0 |"
               "0x7f.1 -> 127.0.0.1 | [fe80::1] ->");
}
