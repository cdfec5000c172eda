#pragma once

#include <memory>
#include <string>

#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"

namespace kstr::Crypto {

/// One of a certificate's two validity times, to the second. Keeps its certificate alive; immutable, so safe from any
/// number of threads.
class QOR_CRYPTO_EXPORT ASN1UtcTime {
public:
    /// @param time  shares the ownership of what the time is part of; not null
    explicit ASN1UtcTime(std::shared_ptr<const ASN1_TIME> time);

    /// Compares with the system's clock.
    /// @return negative if this time lies before now, positive if after, 0 if equal. A time that cannot be read gives 0,
    ///         which a check of either end of the validity counts as bad.
    int CompareWithNow() const;

    /// @return for example "Jan  2 15:04:05 2031 GMT"
    std::string ToString() const;

private:
    std::shared_ptr<const ASN1_TIME> m_time;
};

}  // namespace kstr::Crypto
