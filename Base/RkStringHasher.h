#pragma once

#include <string>

#include "Base/QorBaseExport.h"

/// A hash of strings for hash maps. A value type.
class QOR_BASE_EXPORT RkStringHasher {
public:
    /// @param prime  mixed into every hash
    explicit RkStringHasher(long prime);

    /// @return the same number for equal texts, in every run
    long operator()(const std::string& text) const;

private:
    long m_prime;
};
