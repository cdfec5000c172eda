// Takes directory paths apart and compares the principals that they name.
#include <iostream>

#include "Network/Directory/RkGroup.h"
#include "Network/Directory/RkUser.h"

int main() {
    const RkUser user(L"LDAP://srv1 CN=\"Sales, North\",DC=corp,DC=example/jsmith");
    std::cout << user.getUsername() << " of " << user.getDomain() << " at " << user.getServerName() << ", within\n";
    for (const RkWString& domain : user.getDomains())
        std::cout << "  " << domain << "\n";

    const RkUser elsewhere(L"LDAP", L"srv2", user.getDomain(), L"JSmith");
    std::cout << elsewhere.getPath() << (user == elsewhere ? " is the same user\n" : " is another user\n");
    std::cout << "a group: " << RkGroup(L"DIR", L"CORP", L"staff").getPath() << "\n";
    return user == elsewhere ? 0 : 1;
}
