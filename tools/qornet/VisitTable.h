#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Base/RkTypes.h"

/// Visits and hits by user. Users match without regard to the case of ASCII letters, as RkVisitHit matches them, and are
/// shown as they were written first.
class VisitTable {
public:
    struct Counts {
        RkUInt64 visits = 0;
        RkUInt64 hits = 0;
    };

    void Add(const std::string& user, bool visit);

    /// Prints a line for each user, those with most visits first, and one with the total.
    void Print(std::ostream& out) const;

private:
    struct FoldedHash {
        std::size_t operator()(std::string_view text) const;
    };
    struct FoldedEqual {
        bool operator()(std::string_view left, std::string_view right) const;
    };

    std::unordered_map<std::string, Counts, FoldedHash, FoldedEqual> m_users;
};
