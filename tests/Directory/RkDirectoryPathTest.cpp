#include "Network/Directory/RkDirectoryPath.h"

#include <gtest/gtest.h>

#include "Network/Directory/RkGroup.h"
#include "Network/Directory/RkUser.h"
#include "Network/Directory/RkWorkstation.h"
#include "tests/support/TextTable.h"

RkDirectoryPath Path(const std::string& text) { return RkWString::FromUtf8(text); }

/// "type;server;domain;end;key".
std::string Parts(const RkDirectoryPath& path) {
    const RkWString blank(L";");
    return (path.getDSType() + blank + path.getServerName() + blank + path.getDomain() + blank + path.getEnd() + blank +
            path.getLowerPath())
        .makeString();
}

/// The domain and its parents, a semicolon behind each.
std::string Domains(const RkDirectoryPath& path) {
    std::string texts;
    for (const RkWString& domain : path.getDomains())
        texts += domain.makeString() + ";";
    return texts;
}

TEST(RkDirectoryPathTest, SplitsEveryForm) {
    const auto parts = [](const std::string& text) {
        EXPECT_EQ(Path(text).getPath().makeString(), text);
        return Parts(Path(text));
    };
    ExpectRows(
        parts,
        "LDAP://srv1 DC=corp,DC=example/jsmith -> LDAP;srv1;DC=corp,DC=example;jsmith;"
        "ldap://dc=corp,dc=example/jsmith | DIR://CORP/jsmith -> DIR;;CORP;jsmith;dir://corp/jsmith |"
        "ldap://srv DC=x -> ldap;;srv DC=x;;ldap://srv dc=x | LDAP -> LDAP;;;;ldap:// |"  // only "LDAP" names a server
        "LDAP://DC=x/a/b/ -> LDAP;;DC=x;a/b/;ldap://dc=x/a/b/ |"
        "DIR://\u00c4RZTE/\u0416\u03a9 -> DIR;;\u00c4RZTE;\u0416\u03a9;dir://\u00c4rzte/\u0416\u03a9");
    EXPECT_EQ(parts("LDAP://srv "), "LDAP;srv;;;ldap://");
}

TEST(RkDirectoryPathTest, ListsTheDomainAndItsParents) {
    EXPECT_EQ(Domains(Path("DIR://DC=a, DC=b,DC=c")), "DC=a,DC=b,DC=c;DC=b,DC=c;DC=c;");
    EXPECT_EQ(Domains(Path("DIR://,DC=a,  ,, DC=b ,")), "DC=a,DC=b;DC=b;");
    EXPECT_EQ(Domains(Path("DIR:// , ")), "");
}

TEST(RkDirectoryPathTest, KeepsCommasInsideQuotes) {
    for (const std::string component : {R"(CN="Smith, John")", R"(CN="a,b" "c,d")",
                                        R"(CN=a\")",       // an escaped quote opens nothing
                                        R"(CN="a\",b")"})  // and closes nothing
        EXPECT_EQ(Domains(Path("DIR://" + component + ",DC=x")), component + ",DC=x;DC=x;");
    EXPECT_EQ(Domains(Path(R"(DIR://CN="a,b,c)")), R"(CN="a,b,c;)");  // never closed: to the end of the text
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
    EXPECT_EQ(Parts(path), "DIR;srv;CORP;x;dir://corp/x");
    path.setPath(RkWString());
    EXPECT_EQ(path.getPath(), L"");
    EXPECT_EQ(Parts(path) + Domains(path), ";;;;");
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
