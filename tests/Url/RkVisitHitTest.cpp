#include "Network/Url/RkVisitHit.h"

#include <gmock/gmock.h>

#include <limits>
#include <vector>

#include "Network/Url/RkUrl.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* PAGE = "http://hostname/index.php?x=1";
constexpr const char* IMAGE = "http://hostname/img/logo.gif";

bool IsVisit(std::string user, std::string url, std::time_t now, unsigned long a = 0, void* context = nullptr) {
    return RkVisitHit::CalcIsVisit(user, url, now, a, a + 1, context);
}

std::vector<std::string> reports;
void Report(unsigned long a, unsigned long b, void* context) {
    RkVisitHit::FindExt("gif");  // may be called from here
    reports.push_back(static_cast<const char*>(context) + std::to_string(a) + std::to_string(b));
}

TEST(RkVisitHitTest, JudgesTheExtension) {
    const struct {
        const char* url;
        bool page;
    } cases[] = {
        {"http://hostname/", true},
        {"hostname/logo.gif", true},  // not split without a scheme
        {"http://hostname/dir/", true},
        {"http://hostname/rel.2/run", true},
        {"http://hostname/a.HTML", true},
        {"http://hostname/a.gif", false},
        {"http://hostname/page.gif;id=1", false},
        {"http://hostname/page.gif@x.html", false},
        {"http://hostname/page.html?file=a.gif", true},
        {"http://hostname/page.", false},
        {"http://hostname/a%2ehtml", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RkVisitHit::IsUrlAContainer(c.url), c.page) << c.url;
}

TEST(RkVisitHitTest, JudgesTheTimeSinceTheLastRequest) {
    const struct {
        const char *user, *url;
        std::time_t now;
        bool visit;
    } cases[] = {
        {"Alice", IMAGE, 100, true},   // the first one
        {"ALICE", IMAGE, 103, false},  // the same user
        {"alice", PAGE, 104, true},
        {"alice", IMAGE, 113, false},  // nine seconds
        {"alice", IMAGE, 123, true},   // ten
        {"alice", IMAGE, 50, false},   // a clock that went backwards
        {"\xc4lice", IMAGE, 59, true},
        {"alice", IMAGE, std::numeric_limits<std::time_t>::min(), false},
        {"alice", IMAGE, std::numeric_limits<std::time_t>::max(), true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(IsVisit(c.user, c.url, c.now), c.visit) << c.user << " " << c.url << " at " << c.now;
}

TEST(RkVisitHitTest, ReportsHitsWithTheContextOfTheLastVisit) {
    char first[] = "first", second[] = "second";
    IsVisit("bob", PAGE, 100, 1, first);  // before anybody was registered
    RkVisitHit::SetUpdateCallback(&Report);
    IsVisit("bob", IMAGE, 101, 2);
    EXPECT_THAT(reports, IsEmpty());
    IsVisit("bob", PAGE, 102, 3, first);
    IsVisit("Bob", IMAGE, 103, 4);
    IsVisit("bob", PAGE, 104, 5, second);
    IsVisit("BOB", IMAGE, 105, 6);
    RkVisitHit::ClearLastVisit();
    IsVisit("bob", IMAGE, 106, 7);
    RkVisitHit::DeRegisterCallback();
    IsVisit("bob", PAGE, 107, 8, first);
    IsVisit("bob", IMAGE, 108, 9);
    EXPECT_THAT(reports, ElementsAre("first45", "second67"));
}

TEST(RkVisitHitTest, AddsExtensionsOnceInWhateverCase) {
    RkVisitHit::m_VisitDelay = 3;
    EXPECT_FALSE(RkVisitHit::AddExt("Jsp"));
    EXPECT_TRUE(RkVisitHit::AddExt("PNG"));
    EXPECT_FALSE(RkVisitHit::AddExt("png"));
    EXPECT_TRUE(RkVisitHit::IsUrlAContainer("http://hostname/a.png"));
    EXPECT_EQ(RkVisitHit::m_VisitDelay, 3);  // only filling the set resets it
    EXPECT_EQ(RkVisitHit::InitDefaultExtensions(), 0);
    EXPECT_EQ(RkVisitHit::m_VisitDelay, 10);
}

TEST(RkVisitHitTest, KeepsNameLookUpsSwitchedOff) {
    RkUrl::enableDnsLookup(true);
    RkVisitHit::IsUrlAContainer(PAGE);
    RkInetAddress address;
    RkUrl("http://localhost/").getIpAddress(address);
    EXPECT_TRUE(address.IsAnyAddress());
}

}  // namespace
