#include "Network/Network/RkInetRange.h"

#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <sstream>

#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"

namespace {

TEST(RkInetRangeTest, ParsesEveryForm) {
    const struct {
        const char *text, *range;
    } cases[] = {
        {"192.168.1.7", "192.168.1.7-192.168.1.7"},
        {"10.0.0.1-10.0.0.9", "10.0.0.1-10.0.0.9"},
        {" 10.0.0.1 -\t10.0.0.9\n", "10.0.0.1-10.0.0.9"},
        {"192.168.1.0/24", "192.168.1.0-192.168.1.255"},
        {"192.168.1.77 / 24", "192.168.1.77-192.168.1.255"},  // begins where the text says
        {"10.0.0.0/0", "10.0.0.0-255.255.255.255"},
        {"10.0.0.0/32", "10.0.0.0-10.0.0.0"},
        {"10.0.0.1:80/+31", "10.0.0.1:80-10.0.0.1"},
        {"fe80::/64", "fe80::-fe80::ffff:ffff:ffff:ffff"},
        {"2001:db8::/33", "2001:db8::-2001:db8:7fff:ffff:ffff:ffff:ffff:ffff"},
        {"2001:db8::/96", "2001:db8::-2001:db8::ffff:ffff"},
        {"::1/128", "::1-::1"},
        {"::/0", "::-ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    };
    for (const auto& c : cases) {
        std::ostringstream out;
        out << RkInetRange(c.text);
        EXPECT_EQ(out.str(), c.range) << "parsing '" << c.text << "'";
    }
    EXPECT_EQ(RkInetRange().ToString(), "0.0.0.0-0.0.0.0");
}

std::string Refusal(const std::string& text) {
    try {
        return "gave " + RkInetRange(text).ToString();
    } catch (const RkInetRange::RkInvalidRange& e) {
        return e.what();
    } catch (const RkNetworkException&) {
        return "network";
    } catch (const boost::bad_lexical_cast&) {
        return "number";
    }
}

TEST(RkInetRangeTest, ReportsWhatIsNoRange) {
    const FakeResolver nothingResolves;
    const struct {
        const char *text, *refusal;
    } cases[] = {
        {"", "'' is not a valid range"},
        {"1", "'1' is not a valid range"},
        {"10.0.0.9-10.0.0.1", "Start of range is larger than end of range"},
        {"fe80::9-fe80::1", "Start of range is larger than end of range"},
        {"fe80::9-10.0.0.1", "Start of range is larger than end of range"},
        {"10.0.0.1-fe80::9", "network"},
        {"10.0.0.0/33", " is bigger than address size (ipv4)"},
        {"10.0.0.0/4294967295", " is bigger than address size (ipv4)"},
        {"fe80::/129", " is bigger than address size (ipv6)"},
        {"10.0.0.0/255.0.0.0", "number"},
        {"10.0.0.0/", "number"},
        {"10.0.0.0/4294967296", "number"},
        {"10.0.0.1-10.0.0.9/24", "number"},  // the dash wins, the mask stays
        {"10.0.0.0/2-4", "network"},         // so '10.0.0.0/2' is a name
        {"no.such.name", "network"},
        {"- ", "network"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Refusal(c.text), c.refusal) << "parsing '" << c.text << "'";
}

TEST(RkInetRangeTest, TakesNamesAsIPv4) {
    FakeResolver resolver;
    resolver.Add("a.example", {"fe80::1", "192.0.2.1"});
    EXPECT_EQ(RkInetRange("a.example/30").ToString(), "192.0.2.1-192.0.2.3");
}

TEST(RkInetRangeTest, ComparesItsEndsWithoutPorts) {
    const RkInetAddress start("10.0.0.1", 80), end("10.0.0.1", 0);
    const RkInetRange range(start, end);
    EXPECT_EQ(range.GetStart().GetPort(), 80);
    EXPECT_FALSE(end.IsInRange(range.GetStart(), range.GetEnd()));
    EXPECT_THROW(RkInetRange(RkInetAddress("10.0.0.2", 0), end), RkInetRange::RkInvalidRange);
}

TEST(RkInetRangeTest, MasksOfAnySizeAreDefined) {
    const RkInetRange range;
    EXPECT_EQ(range.GenerateMask(0), 0u);
    EXPECT_EQ(range.GenerateMask(9), 0x1FFu);
    EXPECT_EQ(range.GenerateMask(32), 0xFFFFFFFFu);
    EXPECT_EQ(range.GenerateMask(77), 0xFFFFFFFFu);
    EXPECT_THROW(range.GetNetMaskRange(RkInetAddress(), "-1"), RkInetRange::RkInvalidRange);
}

}  // namespace
