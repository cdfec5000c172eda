#pragma once

#include <string>

#include "Crypto/BIOStream.h"

namespace kstr::Crypto {

/// A BIOStream that collects what is written to it in memory. For one thread at a time.
class QOR_CRYPTO_EXPORT BIOMemStream : public BIOStream {
public:
    BIOMemStream();

    /// @return the kind of stream, for BIOStream::Create
    static const BIO_METHOD* GetMethod();

    /// @return all that was written so far
    std::string GetText() const;
};

}  // namespace kstr::Crypto
