#include "Network/Url/RkVisitHit.h"

#include <gmock/gmock.h>

#include <limits>
#include <vector>

#include "Network/Url/RkUrl.h"

using testing::ElementsAre;

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
    for (const std::string page : {"", "dir/", "rel.2/run", "a.HTML", "page.html?file=a.gif", "a%2ehtml"})
        EXPECT_TRUE(RkVisitHit::IsUrlAContainer("http://hostname/" + page)) << page;
    for (const std::string other : {"a.gif", "page.gif;id=1", "page.gif@x.html", "page."})
        EXPECT_FALSE(RkVisitHit::IsUrlAContainer("http://hostname/" + other)) << other;
    EXPECT_TRUE(RkVisitHit::IsUrlAContainer("hostname/logo.gif"));  // not split without a scheme
}

TEST(RkVisitHitTest, JudgesTheTimeSinceTheLastRequest) {
    EXPECT_TRUE(IsVisit("Alice", IMAGE, 100));   // the first one
    EXPECT_FALSE(IsVisit("ALICE", IMAGE, 103));  // the same user
    EXPECT_TRUE(IsVisit("alice", PAGE, 104));
    EXPECT_FALSE(IsVisit("alice", IMAGE, 113));  // nine seconds
    EXPECT_TRUE(IsVisit("alice", IMAGE, 123));   // ten
    EXPECT_FALSE(IsVisit("alice", IMAGE, 50));   // a clock that went backwards
    EXPECT_TRUE(IsVisit("\xc4lice", IMAGE, 59));
    EXPECT_FALSE(IsVisit("alice", IMAGE, std::numeric_limits<std::time_t>::min()));
    EXPECT_TRUE(IsVisit("alice", IMAGE, std::numeric_limits<std::time_t>::max()));
}

TEST(RkVisitHitTest, ReportsHitsWithTheContextOfTheLastVisit) {
    char first[] = "first", second[] = "second";
    IsVisit("bob", PAGE, 100, 1, first);  // before anybody was registered
    RkVisitHit::SetUpdateCallback(&Report);
    IsVisit("bob", IMAGE, 101, 2);
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
