#include "VisitTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <tuple>
#include <vector>

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
