#pragma once

#include <ostream>
#include <string>
#include <unordered_map>

#include "Base/RkTypes.h"
#include "Network/Url/RkFoldedText.h"

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
    std::unordered_map<std::string, Counts, RkFoldedHash, RkFoldedEqual> m_users;
};
