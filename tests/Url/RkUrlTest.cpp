#include "Network/Url/RkUrl.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"

namespace {

using namespace std::string_literals;

/// What `show` says of each of the texts, which stand between spaces.
template <class Show>
std::string Each(Show show, const std::string& texts) {
    std::string all, text;
    for (std::istringstream in(texts); in >> text;)
        all += show(text) + " ";
    return all;
}

/// "user|password|host|port", the host in brackets if it stood in them.
std::string Authority(const std::string& text) {
    struct Open : RkUrl {
        using RkUrl::m_ipv6_hostname;
        using RkUrl::RkUrl;
    } const url(text);
    const std::string host = url.m_ipv6_hostname ? "[" + url.getHostname() + "]" : url.getHostname();
    return url.getUserInfo() + "|" + url.getPassWord() + "|" + host + "|" + std::to_string(url.getPort());
}

/// "file name|extension|anchor".
std::string Path(const RkUrl& url) { return url.getFilename() + "|" + url.getExtension() + "|" + url.getAnchor(); }

TEST(RkUrlTest, SplitsTheAuthorityByPosition) {
    EXPECT_EQ(Each(Authority, "http://User:Pw@HOST:8080/x http://u:p:q@a@b/ http://u:@h/ http://@host/ h:1/index.html"),
              "User|Pw|host|8080 u|p:q|a@b|-1 u||h|-1 ||host|-1 |||-1 ");
    EXPECT_EQ(Each(Authority, "http://[::1]:81/ http://[::1]/ http://x[::1].. http://::1] http://]/ http://fe80::1/"),
              "||[::1]|81 ||[::1]|-1 ||[::1]|-1 ||::1]|-1 ||]|-1 ||fe80|0 ");
    EXPECT_EQ(
        Each(Authority, "http://H-.-:8x0--/ http://---/ http://h:-/ http://h:/ http://h:99999999999 http://h#a:1"),
        "||h|8 ||-|-1 ||h|0 ||h|-1 ||h|1215752191 ||h#a|1 ");
    EXPECT_EQ(Each(Authority, "http:// http:///p ://h:1/"), "|||-1 |||-1 |||-1 ");
    EXPECT_EQ(Authority("http://h%00ost:1/p"), "||h\0ost:1/p|-1"s);  // searches end at the NUL
}

TEST(RkUrlTest, UserWithoutPasswordIsItsOwnPassword) { EXPECT_EQ(Authority("http://user@h/"), "user|user|h|-1"); }

TEST(RkUrlTest, LeadingWhiteSpaceShortensTheScheme) {
    EXPECT_EQ(RkUrl("HTTPS://x"s).getProtocol(), "https");
    EXPECT_EQ(RkUrl("  http://x"s).getProtocol(), "ht");
    EXPECT_EQ(RkUrl("\t+ http://x"s).getProtocol(), "h");  // "+" is a space
    EXPECT_EQ(RkUrl("     http://x"s).getProtocol(), "");
}

TEST(RkUrlTest, CleansThePath) {
    const auto path = [](const std::string& text) { return Path(RkUrl("http://h/" + text)); };
    EXPECT_EQ(
        Each(path, "a/./b/../c//d.HTML?x=1#top a/../../b/ ../../c/../d ./ //a//./b?x=/../y.z a/..?q x%2F..%2Fy.gif"),
        "a/c/d.HTML?x=1|html|top ../b/|| ../../d|| || a/b?x=/../y.z|| ?q|| y.gif|gif| ");
    EXPECT_EQ(Each(path, "#top page# a.b#c#d.E a.b/c a. ... a.B?c.d"),
              "||top page#|| a.b|b|c#d.E a.b/c|| a.|| ...|| a.B?c.d|b| ");
    EXPECT_EQ(path("a%00/../b/?c.d"), "a\0/../b/?c.d||"s);
    EXPECT_EQ(RkUrl("http://h/a/../b"s).getUnescapedUrl(), "http://h/a/../b");
}

TEST(RkUrlTest, AUrlInsideAnotherWithoutSchemeGetsOneInFront) {
    RkUrl url("https://u:p@[::1]:1/a.b#c"s);
    url.setUrl("host/to?u=http://x");
    EXPECT_EQ(url.getUnescapedUrl(), "http://host/to?u=http://x");
    EXPECT_EQ(url.getEscapedUrl(), "host/to?u=http://x");
    EXPECT_EQ(url.getProtocol() + "|" + url.getHostname() + "|" + Path(url), "http|host|to?u=http://x||");
    url.setUrl("");
    EXPECT_EQ(url.getProtocol() + url.getHostname() + Path(url) + url.getUnescapedUrl(), "||");
}

TEST(RkUrlTest, SetHostnameReplacesByPosition) {
    const auto renamed = [](const std::string& text) {
        RkUrl url(text);
        url.setHostname("new");
        return url.getEscapedUrl();
    };
    EXPECT_EQ(Each(renamed, "http://host:80/path http://u:p@host:80/ http://@host:80/"),
              "http://new:80/path http://u:p@new:80/ http://@new:80/ ");
    EXPECT_EQ(renamed("http://host/path"), "http://new");   // without a port all that follows goes too
    EXPECT_EQ(renamed("h/r?u=http://x:1/"), "h/r?u=hnew");  // seven off: the scheme was put in front
    EXPECT_EQ(renamed("") + " " + Each(renamed, "http:// ab abcde"), "new http://new abnew abcnewde ");
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
    EXPECT_EQ(Each(decode, "%4a+%zz %4 %%41%4%2G%"), ">J %zz >%4 >%A%4%2G% ");
    EXPECT_EQ(decode(std::string(253, 'x') + "%41%4"), ">" + std::string(253, 'x') + "A%4");
}

TEST(RkUrlTest, KnowsServicesAndPorts) {
    std::string table;
    for (const std::string scheme : {"http", "https", "ftp", "gopher", "realaudio", "news", "irc", "telnet", "nntp"}) {
        const auto service = static_cast<unsigned short>(RkUrl(scheme + "://x").getServiceType());
        table += std::to_string(service) + ":" + std::to_string(RkUrl::getDefaultPort(scheme)) + " ";
        EXPECT_EQ(RkUrl::getDefaultPort(service), RkUrl::getDefaultPort(scheme)) << scheme;
    }
    EXPECT_EQ(table, "2:80 130:443 1:21 4:70 64:6770 16:119 8:6667 32:23 128:-1 ");
}

TEST(RkUrlTest, NormalizesNumericHostsOnly) {
    const auto normalized = [](const std::string& text) {
        RkUrl url(text);
        url.normalizeHostname();
        return url.getUnescapedUrl();
    };
    EXPECT_EQ(Each(normalized, "HTTP://u:p@0x7f.1:080/a/./b.c#top http://u:@1/x# http://[FE80:0::1]/"),
              "http://u:p@127.0.0.1:080/a/b.c#top http://u:@0.0.0.1/x## http://[fe80::1] ");
    EXPECT_EQ(Each(normalized, "HTTP://127.0.0.1/./ HTTP://name/./"), "HTTP://127.0.0.1/./ HTTP://name/./ ");
}

class RkUrlAddressTest : public ::testing::Test {
protected:
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
    std::string text = "before", all;
    for (const char* host : {"four", "mapped", "six", "", "unknown", "0x7f.1", "[fe80::1]"})
        all += RkUrl("http://"s + host).getIPv4Address(text) + " ";
    EXPECT_EQ(all, "10.0.0.1 10.0.0.2  0.0.0.0 0.0.0.0 127.0.0.1  ");
}

}  // namespace
