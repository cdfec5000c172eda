#include "Network/Network/RkLookupWaitingList.h"

#include <algorithm>

unsigned int RkLookupWaitingList::CountBlocked(unsigned int seconds, std::int64_t now) const {
    return static_cast<unsigned int>(std::ranges::count_if(
        m_since, [&](const auto& entry) { return static_cast<std::uint32_t>(now - entry.second) > seconds; }));
}
