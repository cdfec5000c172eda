#include "Network/Network/RkInetAddress.h"

#include <gmock/gmock.h>
#include <netdb.h>

#include <memory>
#include <sstream>
#include <vector>

#include "Network/Network/RkNetwork.h"
#include "tests/support/FakeResolver.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TextTable.h"

using testing::ElementsAre;
using namespace std::string_literals;

RkInetAddress Numeric(const std::string& text, RkUInt16 port = 0) { return {text, port}; }

struct RkInetAddressTest : testing::Test {
    RkInetAddressTest() {
        m_resolver.Add("host", {"2001:db8::1", "192.0.2.1", "192.0.2.2"});
        m_resolver.Add("192.0.2.1", {"host"});
    }

    using Lookup = void(const std::string&, RkInetAddress*&, int&, bool);
    /// The addresses that a look-up of all writes. @param room  of an own array; 0: none
    static std::string All(Lookup lookUp, const std::string& name, int room, bool v4Only) {
        std::vector<RkInetAddress> own(static_cast<std::size_t>(room));
        RkInetAddress* addresses = room == 0 ? nullptr : own.data();
        int count = room;
        lookUp(name, addresses, count, v4Only);
        const std::unique_ptr<RkInetAddress[]> allocated(room == 0 ? addresses : nullptr);
        std::string texts;
        for (int i = 0; i < count; ++i)
            texts += addresses[i].ToString() + " ";
        return texts;
    }

    FakeResolver m_resolver;
};

TEST_F(RkInetAddressTest, TakesEveryFormOfEndpointText) {
    // Short, octal and hexadecimal forms are inet_addr's; the C library reads to the first NUL; ports are cut to 16 bits.
    ExpectRows([](const std::string& text) { return RkInetAddress(text, 7); },
               "1.2.3.4:80 -> 1.2.3.4:80 | 1.2.3.4:0 -> 1.2.3.4:7 | 1 -> 0.0.0.1:7 | 010.0.0.1 -> 8.0.0.1:7 |"
               "0x7f.1:65537 -> 127.0.0.1:1 | 1.2.3.4 x -> 1.2.3.4:7 | 1.2.3.4\0x -> 1.2.3.4:7 | ::1 -> [::1]:7 |"
               "[::1] -> [::1]:7 | x[fe80::1]:8080 -> [fe80::1]:8080 | [1.2.3.4]x -> 1.2.3.4:7 |"
               "::ffff:10.0.0.1 -> [::ffff:10.0.0.1]:7 | host:http -> 192.0.2.1:7"s);
    ExpectRows([](const std::string& text) { return RkInetAddress(text, 7, true); },
               "host -> [2001:db8::1]:7 | 127.0.0.1 -> [::1]:7 | 0.0.0.0 -> [::]:7 | 1.2.3.4 -> [::ffff:1.2.3.4]:7");
}

TEST_F(RkInetAddressTest, LooksUpMalformedTextsAsAWhole) {
    for (const std::string text : {"1.2.3.4:", "[::1", "[::1]443", "[::1]:", "[::1]x:1", ":", "255.255.255.256"}) {
        RkInetAddress address("192.0.2.9", 9);
        EXPECT_EQ(MessageOf([&] { address = text; }), "Can not resolve hostname: " + text + "|");
        EXPECT_EQ(m_resolver.Lookups(text), 1) << text;
        EXPECT_EQ(address.ToString(), "192.0.2.9:9") << text;
    }
}

TEST_F(RkInetAddressTest, InAddrPortStaysInNetworkOrder) {
    sockaddr_in peer{};
    peer.sin_port = htons(80);
    peer.sin_addr.s_addr = htonl(0x01020304);
    EXPECT_EQ(RkInetAddress(peer.sin_addr, peer.sin_port).ToString(), "1.2.3.4:80");
    EXPECT_EQ(RkInetAddress(&peer, 0).ToString(), "1.2.3.4:80");
    EXPECT_EQ(RkInetAddress(0x01020304u, 80).ToString(), "1.2.3.4:80");
}

TEST_F(RkInetAddressTest, DemotesMappedAndAnyAddressesOnly) {
    const auto demoted = [](const std::string& text) {
        RkUInt32 words[4];
        Numeric(text).GetIpAddress(words, 4, false);
        const std::string shown = RkInetAddress(words, 4, 0, false, true).ToString();
        Numeric(text).GetIpAddress(words, 4, true);
        EXPECT_EQ(RkInetAddress().SetNetworkOrder(0, words, 4, true).ToString(), shown);
        RkInetAddress numeric("9.9.9.9", 9);
        EXPECT_TRUE(RkInetAddress::CheckForNumeric(text, numeric));
        EXPECT_EQ(numeric.ToString(), shown);
        return shown;
    };
    ExpectRows(demoted,
               "::ffff:1.2.3.4 -> 1.2.3.4 | :: -> 0.0.0.0 | ::1 -> ::1 | ::1.2.3.4 -> ::1.2.3.4 |"
               "::1:0:ffff:0:1 -> ::1:0:ffff:0:1 | 2001:db8::1:0:2 -> 2001:db8::1:0:2");
    RkInetAddress none;
    EXPECT_FALSE(RkInetAddress::CheckForNumeric("255.255.255.255", none));
}

TEST_F(RkInetAddressTest, RefusesToSqueezeIPv6IntoIPv4Shapes) {
    const RkInetAddress six("::1", 80);
    RkInetAddress mapped("10.1.2.3", 80);
    mapped.PromoteToV6();
    mapped.GetV4Address(mapped);
    EXPECT_EQ(mapped.ToString(), "10.1.2.3:80");
    for (const std::string text : {"::", "::1", "fe80::1", "::1.2.3.4"})
        EXPECT_EQ(MessageOf([&] { Numeric(text).GetV4Address(mapped); }),
                  "Can not convert IPv6 address to IPv4 address: " + text + "|");
    RkUInt32 words[4] = {};
    sockaddr_in address{};
    const std::string end = " for address: [::1]:80|";
    EXPECT_EQ(MessageOf([&] { six.GetIpAddress(true); }), "Can not convert IPv6 address to unsigned int" + end);
    EXPECT_EQ(MessageOf([&] { six.GetIpAddress(words, 3, true); }), "GetIpAddress invalid array length" + end);
    EXPECT_EQ(MessageOf([&] { six.GetAddr(address); }), "Can not convert IPv6 address to sockaddr_in" + end);
    six.GetIpAddress(words, 4, false);
    EXPECT_THAT(words, ElementsAre(0u, 0u, 0u, 1u));
}

TEST_F(RkInetAddressTest, Classifies) {
    const std::pair<bool (RkInetAddress::*)() const, std::string> classes[] = {
        {&RkInetAddress::IsLoopback, " 127.0.0.1 ::1 "},
        {&RkInetAddress::IsLinkLocal, " 127.0.0.1 169.254.1.1 ::1 fe80::1 febf::1 "},
        {&RkInetAddress::IsMulticast, " 224.0.0.1 239.255.255.255 ff02::1 "},
        {&RkInetAddress::IsAnyAddress, " 0.0.0.0 :: "},
        {&RkInetAddress::IsPrivate, " 10.255.0.1 172.16.0.1 172.31.255.255 192.168.0.0 fc00::1 fdff::1 "},
        {&RkInetAddress::IsAnycast, " 2001:db8:: 1::ffff:ffff:ffff:ff80 "},
        {&RkInetAddress::IsV6Mapped, " ::ffff:10.0.0.1 "},
    };
    std::string texts =
        " 127.0.0.2 240.0.0.0 172.32.0.0 192.169.0.0 fec0::1 fe00::1 1::ffff:ffff:ffff:ff7f ::fffe:1:1 ";
    for (const auto& [predicate, members] : classes)
        texts += members;
    std::istringstream words(texts);
    for (std::string text; words >> text;)
        for (const auto& [predicate, members] : classes)
            EXPECT_EQ((Numeric(text).*predicate)(), members.find(' ' + text + ' ') != std::string::npos)
                << text << " in" << members;
}

TEST_F(RkInetAddressTest, OrdersByAddressThenPortAcrossFamilies) {
    const RkInetAddress ascending[] = {
        Numeric("::"),          Numeric("0.0.0.0", 1),         Numeric("::1"),       Numeric("1.2.3.4"),
        Numeric("1.2.3.4", 80), Numeric("::ffff:1.2.3.4", 81), Numeric("128.0.0.0"), Numeric("fe80::1"),
    };
    for (const auto& left : ascending)
        for (const auto& right : ascending) {
            EXPECT_EQ(left < right, &left < &right) << left << " " << right;
            EXPECT_EQ(left == right, &left == &right) << left << " " << right;
        }
    EXPECT_FALSE(Numeric("1.2.3.4", 80).IsInRange(Numeric("1.2.3.0"), Numeric("1.2.3.4")));  // ports count
    const RkInetAddress four("1.2.3.4", 1), six("::ffff:1.2.3.4", 2);
    EXPECT_TRUE(RkInetAddress::EqualNoPort(four, six) && RkInetAddress::EqualNoPort(six, four));
    EXPECT_NE(four.Hash(), six.Hash()) << "equal addresses, and yet";
    EXPECT_EQ(four.Hash(), 0x7244244Au);  // MurmurHash3_x86_32 of the bytes 1 2 3 4, seed 0xDEADBEEF
}

TEST_F(RkInetAddressTest, OtherFamiliesAreNeverEqualAndHaveNoText) {
    struct Odd : RkInetAddress {
        Odd() { m_family = AF_UNIX; }
    } const odd;
    EXPECT_FALSE(odd == odd || odd < odd);
    EXPECT_EQ(MessageOf([&] { odd.ToString(); }), "Invalid address family while converting to string|");
}

TEST_F(RkInetAddressTest, FillsTheCallersArrayOrAllocatesOne) {
    EXPECT_EQ(All(RkInetAddress::GetHostByName, "host", 0, false), "2001:db8::1 192.0.2.1 192.0.2.2 ");
    EXPECT_EQ(All(RkInetAddress::GetHostByName, "host", 2, false), "2001:db8::1 192.0.2.1 ");
    EXPECT_EQ(All(RkInetAddress::GetAllAddresses, "host", 9, true), "192.0.2.1 192.0.2.2 ");
    EXPECT_EQ(All(RkInetAddress::GetHostByName, "unknown", 0, false), "");
    EXPECT_EQ(All(RkInetAddress::GetAllAddresses, "::ffff:1.2.3.4", 0, true), "1.2.3.4 ");
    EXPECT_EQ(All(RkInetAddress::GetAllAddresses, "::1", 5, true), "");
}

TEST_F(RkInetAddressTest, OneAddressIsTheFirstOrAFailure) {
    RkInetAddress address;
    EXPECT_EQ(RkInetAddress::GetOneAddress("host", address, true).ToString(), "192.0.2.1");
    EXPECT_EQ(RkInetAddress::HostnameToIP("1.2.3.4", address, false).ToString(), "1.2.3.4");
    EXPECT_EQ(m_resolver.Lookups("1.2.3.4"), 1);  // without the numeric test
    EXPECT_EQ(MessageOf([&] { RkInetAddress::GetOneAddress("::1", address, true); }),
              "Requested IPv4 but name is IPv6: ::1|");
}

TEST_F(RkInetAddressTest, FindsNamesOfAddresses) {
    std::string name = "192.0.2.1";
    EXPECT_EQ(RkInetAddress::GetHostname(name, name), "host");
    EXPECT_EQ(RkInetAddress::GetHostname("other", name), "other");
    EXPECT_EQ(MessageOf([&] { RkInetAddress::GetHostByAddr(Numeric("192.0.2.9", 5), name); }),
              "Can not resolve address: 192.0.2.9:5 into a hostname; error: "s + gai_strerror(EAI_NONAME) + "|");
}

TEST_F(RkInetAddressTest, LooksUpTheLocalAddressOnce) {
    m_resolver.Add(RkInetAddress::GetHostname(), {"192.0.2.77"});
    EXPECT_EQ(RkInetAddress::MyAddress(true).ToString(), "192.0.2.77");
    EXPECT_EQ(&RkInetAddress::MyAddress(false), &RkInetAddress::MyAddress(true));
    EXPECT_EQ(m_resolver.TotalLookups(), 1);
}

TEST_F(RkInetAddressTest, StreamsAsTextWordByWord) {
    std::istringstream in(" [::1]:80 1.2.3.4\n");
    RkInetAddress first, second, third("9.9.9.9", 9);
    in >> first >> second >> third;
    EXPECT_EQ(first, Numeric("::1", 80));
    EXPECT_EQ(third, Numeric("9.9.9.9", 9));
}

TEST(RkNetworkTest, ReversesEightBytes) { EXPECT_EQ(RkNetwork::HToNLL(0x0102030405060708), 0x0807060504030201u); }

TEST(RkNetworkExceptionTest, TakesTheErrorOfTheFailedCall) {
    ::socket(-1, SOCK_STREAM, 0);
    EXPECT_EQ(RkNetworkException("no socket").GetOsErrno(), EAFNOSUPPORT);
}
