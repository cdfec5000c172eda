// Asks the resolver once for what is asked three times, forward and reverse.
#include <iostream>

#include "Network/Network/ReverseDnsCache.h"
#include "Network/Network/RkDnsCache.h"

static void Print(const char* which, const RkCacheCounters& counters) {
    std::cout << which << ": " << counters.count << " of " << counters.size << " entries, " << counters.hits
              << " hits, " << counters.hitPercent << " %\n";
}

int main() {
    RkDnsCache& forward = RkDnsCache::Itself();
    for (int i = 0; i < 3; ++i)
        std::cout << "localhost is " << forward.GetOneIP("localhost", true) << "\n";

    ReverseDnsCache& reverse = ReverseDnsCache::Itself();
    for (int i = 0; i < 3; ++i) {
        std::string name;
        const bool known = reverse.GetHostname("127.0.0.1", name);
        std::cout << "127.0.0.1 is " << (known ? name : "without a name") << "\n";
    }

    Print("forward", forward.GetCounters());
    Print("reverse", reverse.GetCounters());
    std::cout << "threads stuck for more than five seconds: " << forward.GetBlockedCount(5) + reverse.GetBlockedCount(5)
              << "\n";
    return forward.GetCounters().hits == 2 && reverse.GetCounters().hits == 2 ? 0 : 1;
}
