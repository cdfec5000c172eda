#pragma once

#include <memory>
#include <string>

#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"

namespace kstr::Crypto {

/// A private key. Copies share the one immutable key; safe from any number of threads. Nothing here prints it.
class QOR_CRYPTO_EXPORT EVPKey {
public:
    /// Takes over one reference of the caller's. @param key  not null
    explicit EVPKey(EVP_PKEY* key);

    /// Reads a key from a PEM file. An encrypted key is refused: nobody is asked for a pass phrase.
    /// Throws BasicException naming the path.
    static EVPKey ReadPEM(const std::string& path);

    /// For calls of OpenSSL; stays owned by this object.
    EVP_PKEY* Get() const { return m_key.get(); }

private:
    std::shared_ptr<EVP_PKEY> m_key;
};

}  // namespace kstr::Crypto
