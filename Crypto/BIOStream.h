#pragma once

#include <memory>

#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"

namespace kstr::Crypto {

/// An OpenSSL stream (BIO). Copies share the one stream. For one thread at a time.
class QOR_CRYPTO_EXPORT BIOStream {
public:
    /// @param method  what kind of stream, for example BIOMemStream::GetMethod()
    /// @return a new stream. Throws BasicException when there is no memory.
    static BIOStream Create(const BIO_METHOD* method);

    /// For calls of OpenSSL; stays owned by this object.
    BIO* Get() const { return m_bio.get(); }

protected:
    explicit BIOStream(const BIO_METHOD* method);

private:
    std::shared_ptr<BIO> m_bio;
};

}  // namespace kstr::Crypto
