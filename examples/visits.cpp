// Counts, for each page that a user visits, the objects that belong to it.
#include <iostream>
#include <string>

#include "Network/Url/RkVisitHit.h"

struct Page {
    std::string url;
    int objects = 0;
};

// Called for each hit with the context of the user's last visit.
static void CountObject(unsigned long, unsigned long, void* context) { ++static_cast<Page*>(context)->objects; }

int main() {
    RkVisitHit::SetUpdateCallback(&CountObject);
    Page pages[] = {{"http://shop/"}, {"http://shop/cart.php"}};
    std::string user = "alice", image = "http://shop/logo.gif";
    std::time_t now = 1000;
    for (Page& page : pages) {
        RkVisitHit::CalcIsVisit(user, page.url, now++, 0, 0, &page);
        for (int i = 0; i < 3; ++i)
            RkVisitHit::CalcIsVisit(user, image, now++, 0, 0, nullptr);
    }
    RkVisitHit::DeRegisterCallback();  // from here on `pages` may go
    for (const Page& page : pages)
        std::cout << page.url << " has " << page.objects << " objects\n";
    return pages[0].objects == 3 && pages[1].objects == 3 ? 0 : 1;
}
