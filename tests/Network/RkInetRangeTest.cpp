#include "Network/Network/RkInetRange.h"

#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>

#include "Network/Network/RkNetworkException.h"
#include "tests/support/FakeResolver.h"

namespace {

TEST(RkInetRangeTest, ParsesEveryForm) {
    FakeResolver resolver;
    resolver.Add("a.example", {"fe80::1", "192.0.2.1"});
    const struct {
        const char *text, *range;
    } cases[] = {{" 10.0.0.1 -\t10.0.0.9\n", "10.0.0.1-10.0.0.9"},
                 {"10.1.2.3 / 24", "10.1.2.3-10.1.2.255"},  // begins where the text says
                 {"10.0.0.0/0", "10.0.0.0-255.255.255.255"},
                 {"10.0.0.1:80/+32", "10.0.0.1:80-10.0.0.1"},
                 {"a.example", "192.0.2.1-192.0.2.1"},
                 {"ff::/33", "ff::-ff:0:7fff:ffff:ffff:ffff:ffff:ffff"},
                 {"ff::/96", "ff::-ff::ffff:ffff"},
                 {"::/0", "::-ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}};
    for (const auto& c : cases)
        EXPECT_EQ(RkInetRange(c.text).ToString(), c.range) << "parsing '" << c.text << "'";
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
    } cases[] = {{"", "'' is not a valid range"},
                 {"1", "'1' is not a valid range"},
                 {"10.0.0.9-10.0.0.1", "Start of range is larger than end of range"},
                 {"fe80::9-10.0.0.1", "Start of range is larger than end of range"},
                 {"10.0.0.1-fe80::9", "network"},
                 {"10.0.0.0/33", " is bigger than address size (ipv4)"},
                 {"fe80::/129", " is bigger than address size (ipv6)"},
                 {"10.0.0.0/4294967296", "number"},
                 {"10.0.0.0/255.0.0.0", "number"},
                 {"10.0.0.1-10.0.0.9/24", "number"},  // the dash wins, the mask stays
                 {"10.0.0.0/2-4", "network"}};        // so '10.0.0.0/2' is a name
    for (const auto& c : cases)
        EXPECT_EQ(Refusal(c.text), c.refusal) << "parsing '" << c.text << "'";
    EXPECT_THROW(RkInetRange().GetNetMaskRange(RkInetAddress(), "-1"), RkInetRange::RkInvalidRange);
}

TEST(RkInetRangeTest, ComparesItsEndsWithoutPorts) {
    const RkInetAddress start("10.0.0.1", 80), end("10.0.0.1", 0);
    const RkInetRange range(start, end);
    EXPECT_EQ(range.GetStart().GetPort(), 80);
    EXPECT_FALSE(end.IsInRange(range.GetStart(), range.GetEnd()));
    EXPECT_EQ(range.GenerateMask(77), 0xFFFFFFFFu);
}

}  // namespace
