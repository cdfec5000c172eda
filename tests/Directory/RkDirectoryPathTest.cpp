#include "Network/Directory/RkDirectoryPath.h"

#include <gmock/gmock.h>

#include "Network/Directory/RkGroup.h"
#include "Network/Directory/RkUser.h"
#include "Network/Directory/RkWorkstation.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> DomainsOf(const RkDirectoryPath& path) {
    std::vector<std::string> texts;
    for (const RkWString& domain : path.getDomains())
        texts.push_back(domain.makeString());
    return texts;
}

TEST(RkDirectoryPathTest, SplitsEveryForm) {
    const struct {
        const wchar_t *path, *type, *server, *domain, *end, *key;
    } cases[] = {
        {L"LDAP://srv1 DC=corp,DC=example/jsmith", L"LDAP", L"srv1", L"DC=corp,DC=example", L"jsmith",
         L"ldap://dc=corp,dc=example/jsmith"},
        {L"DIR://CORP/jsmith", L"DIR", L"", L"CORP", L"jsmith", L"dir://corp/jsmith"},
        {L"ldap://srv DC=x", L"ldap", L"", L"srv DC=x", L"", L"ldap://srv dc=x"},  // only "LDAP" names a server
        {L"LDAP", L"LDAP", L"", L"", L"", L"ldap://"},
        {L"LDAP://srv ", L"LDAP", L"srv", L"", L"", L"ldap://"},
        {L"LDAP://DC=x/a/b/", L"LDAP", L"", L"DC=x", L"a/b/", L"ldap://dc=x/a/b/"},
        {L"DIR://\x00c4RZTE/\x0416\x03a9", L"DIR", L"", L"\x00c4RZTE", L"\x0416\x03a9",
         L"dir://\x00c4rzte/\x0416\x03a9"},
    };
    for (const auto& c : cases) {
        const RkDirectoryPath path(c.path);
        SCOPED_TRACE(path.getPath().makeString());
        EXPECT_EQ(path.getPath(), c.path);
        EXPECT_EQ(path.getDSType(), c.type);
        EXPECT_EQ(path.getServerName(), c.server);
        EXPECT_EQ(path.getDomain(), c.domain);
        EXPECT_EQ(path.getEnd(), c.end);
        EXPECT_EQ(path.getLowerPath(), c.key);
    }
}

TEST(RkDirectoryPathTest, ListsTheDomainAndItsParents) {
    EXPECT_THAT(DomainsOf(RkWString(L"DIR://DC=a, DC=b,DC=c")), ElementsAre("DC=a,DC=b,DC=c", "DC=b,DC=c", "DC=c"));
    EXPECT_THAT(DomainsOf(RkWString(L"DIR://,DC=a,  ,, DC=b ,")), ElementsAre("DC=a,DC=b", "DC=b"));
    EXPECT_THAT(DomainsOf(RkWString(L"DIR:// , ")), IsEmpty());
}

TEST(RkDirectoryPathTest, KeepsCommasInsideQuotes) {
    const struct {
        const char* domain;
        std::vector<std::string> components;
    } cases[] = {
        {R"(CN="Smith, John",DC=x)", {R"(CN="Smith, John",DC=x)", "DC=x"}},
        {R"(CN="a,b" "c,d",DC=x)", {R"(CN="a,b" "c,d",DC=x)", "DC=x"}},
        {R"(CN=a\",DC=x)", {R"(CN=a\",DC=x)", "DC=x"}},          // an escaped quote opens nothing
        {R"(CN="a\",b",DC=x)", {R"(CN="a\",b",DC=x)", "DC=x"}},  // and closes nothing
        {R"(CN="a,b,c)", {R"(CN="a,b,c)"}},                      // never closed: to the end of the text
    };
    for (const auto& c : cases)
        EXPECT_EQ(DomainsOf(RkWString::FromUtf8(std::string("DIR://") + c.domain)), c.components) << c.domain;
}

TEST(RkDirectoryPathTest, ComparesWithoutServerAndCase) {
    const RkDirectoryPath first(L"LDAP://srv1 DC=a/x"), second(L"LDAP://SRV2 dc=A/X"), other(L"LDAP://DC=b/x");
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == other);
    EXPECT_TRUE(first < other);
    EXPECT_FALSE(first < second);
}

TEST(RkDirectoryPathTest, ASecondPathReplacesWhatItMentionsAndAnEmptyOneAll) {
    RkDirectoryPath path(L"LDAP://srv DC=a/x");
    path.setPath(L"DIR://CORP");
    EXPECT_EQ(path.getServerName(), L"srv");
    EXPECT_EQ(path.getLowerPath(), L"dir://corp/x");
    path.setPath(RkWString());
    EXPECT_EQ(path.getPath(), L"");
    EXPECT_EQ(path.getLowerPath(), L"");
    EXPECT_THAT(DomainsOf(path), IsEmpty());
}

TEST(RkDirectoryPrincipalsTest, NameTheEndOfTheirPath) {
    EXPECT_EQ(RkUser(L"LDAP", L"DC=corp,DC=example", L"jsmith").getPath(), L"LDAP://DC=corp,DC=example/jsmith");
    EXPECT_EQ(RkUser(L"LDAP", L"", L"DC=x", L"").getPath(), L"LDAP://DC=x");
    const RkGroup staff(L"LDAP://srv DC=corp/staff");
    EXPECT_EQ(staff.getGroupName(), L"staff");
    EXPECT_EQ(staff.getServerName(), L"srv");
    EXPECT_EQ(RkWorkstation(L"LDAP", L"srv", L"DC=corp", L"pc7").getWorkstationame(), L"pc7");
    EXPECT_TRUE(staff == RkGroup(L"LDAP", L"other", L"DC=CORP", L"Staff"));
    EXPECT_TRUE(staff < RkGroup(L"LDAP://DC=corp/staff2"));
}

}  // namespace
