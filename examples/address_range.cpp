// Sorts addresses into a list of ranges, and says what is wrong with the lines that are none.
#include <iostream>
#include <vector>

#include "Network/Network/RkInetRange.h"

static std::vector<RkInetRange> Read(const std::vector<std::string>& lines) {
    std::vector<RkInetRange> ranges;
    for (const auto& line : lines) {
        try {
            ranges.emplace_back(line);
        } catch (const std::exception& e) {
            std::cout << "'" << line << "' is left out: " << e.what() << "\n";
        }
    }
    return ranges;
}

int main() {
    const auto ranges =
        Read({"192.168.1.0/24", "10.0.0.1 - 10.0.0.9", "fe80::/64", "10.0.0.0/33", "10.0.0.9-10.0.0.1"});
    for (const char* text : {"192.168.1.77", "10.0.0.10", "fe80::1", "2001:db8::1"}) {
        const RkInetAddress address(text, 0);
        std::cout << text;
        for (const auto& range : ranges)
            if (address.IsInRange(range.GetStart(), range.GetEnd()))
                std::cout << " is in " << range;
        std::cout << "\n";
    }
    return ranges.size() == 3 ? 0 : 1;
}
