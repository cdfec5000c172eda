#include "VisitTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <tuple>
#include <vector>

#include "Network/Url/RkVisitHit.h"

namespace {

void PrintCounts(std::ostream& out, std::string_view user, const VisitTable::Counts& counts) {
    std::array<char, 48> ratio;
    const double hits = static_cast<double>(counts.hits), visits = static_cast<double>(counts.visits);
    const auto end = std::to_chars(ratio.begin(), ratio.end(), counts.visits == 0 ? 0.0 : hits / visits,
                                   std::chars_format::fixed, 2);
    out << user << '\t' << counts.visits << '\t' << counts.hits << '\t'
        << std::string_view(ratio.data(), static_cast<std::size_t>(end.ptr - ratio.data())) << '\n';
}

}  // namespace

std::size_t VisitTable::FoldedHash::operator()(std::string_view text) const {
    RkUInt64 hash = 0xcbf29ce484222325;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool upper = byte >= 'A' && byte <= 'Z';
        hash = (hash ^ (upper ? byte | 0x20u : byte)) * 0x100000001b3;
    }
    return hash;
}

bool VisitTable::FoldedEqual::operator()(std::string_view left, std::string_view right) const {
    return left == right || (!ltvhmap()(left, right) && !ltvhmap()(right, left));
}

void VisitTable::Add(const std::string& user, bool visit) {
    Counts& counts = m_users[user];
    ++(visit ? counts.visits : counts.hits);
}

void VisitTable::Print(std::ostream& out) const {
    Counts total;
    std::vector<const decltype(m_users)::value_type*> users;
    for (const auto& entry : m_users) {
        users.push_back(&entry);
        total.visits += entry.second.visits;
        total.hits += entry.second.hits;
    }
    std::sort(users.begin(), users.end(), [](const auto* left, const auto* right) {
        return std::tie(right->second.visits, left->first) < std::tie(left->second.visits, right->first);
    });
    out << "user\tvisits\thits\thits/visit\n";
    for (const auto* entry : users)
        PrintCounts(out, entry->first, entry->second);
    PrintCounts(out, "total", total);
}
