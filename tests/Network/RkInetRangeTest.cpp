#include "Network/Network/RkInetRange.h"

#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>

#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"
#include "tests/support/TextTable.h"

/// The range that a text gives, or what is wrong with it.
std::string Parsed(const std::string& text) {
    try {
        return RkInetRange(text).ToString();
    } catch (const RkInetRange::RkInvalidRange& e) {
        return e.what();
    } catch (const RkNetworkException&) {
        return "no address";
    } catch (const boost::bad_lexical_cast&) {
        return "no number";
    }
}

TEST(RkInetRangeTest, ParsesEveryForm) {
    FakeResolver resolver;
    resolver.Add("a.example", {"fe80::1", "192.0.2.1"});
    EXPECT_EQ(Parsed(" 10.0.0.1 -\t10.0.0.9\n"), "10.0.0.1-10.0.0.9");
    ExpectRows(Parsed,
               "10.1.2.3 / 24 -> 10.1.2.3-10.1.2.255 |"  // begins where the text says
               "10.0.0.0/0 -> 10.0.0.0-255.255.255.255 | 10.0.0.1:80/+32 -> 10.0.0.1:80-10.0.0.1 |"
               "a.example -> 192.0.2.1-192.0.2.1 | ff::/33 -> ff::-ff:0:7fff:ffff:ffff:ffff:ffff:ffff |"
               "ff::/96 -> ff::-ff::ffff:ffff | ::/0 -> ::-ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
}

TEST(RkInetRangeTest, ReportsWhatIsNoRange) {
    const FakeResolver nothingResolves;
    ExpectRows(Parsed,
               " -> '' is not a valid range | 1 -> '1' is not a valid range |"
               "10.0.0.9-10.0.0.1 -> Start of range is larger than end of range |"
               "fe80::9-10.0.0.1 -> Start of range is larger than end of range | 10.0.0.1-fe80::9 -> no address |"
               "10.0.0.0/4294967296 -> no number | 10.0.0.0/255.0.0.0 -> no number |"
               "10.0.0.1-10.0.0.9/24 -> no number |"  // the dash wins, the mask stays
               "10.0.0.0/2-4 -> no address");         // so '10.0.0.0/2' is a name
    EXPECT_EQ(Parsed("10.0.0.0/33"), " is bigger than address size (ipv4)");
    EXPECT_EQ(Parsed("fe80::/129"), " is bigger than address size (ipv6)");
    EXPECT_THROW(RkInetRange().GetNetMaskRange(RkInetAddress(), "-1"), RkInetRange::RkInvalidRange);
}

TEST(RkInetRangeTest, ComparesItsEndsWithoutPorts) {
    const RkInetAddress start("10.0.0.1", 80), end("10.0.0.1", 0);
    const RkInetRange range(start, end);
    EXPECT_EQ(range.GetStart().GetPort(), 80);
    EXPECT_FALSE(end.IsInRange(range.GetStart(), range.GetEnd()));
    EXPECT_EQ(range.GenerateMask(77), 0xFFFFFFFFu);
}
