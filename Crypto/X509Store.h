#pragma once

#include <memory>

#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"
#include "Crypto/X509Cert.h"

namespace kstr::Crypto {

/// The certificates that OpenSSL's own verification trusts. Copies share the one store; adding is safe from any thread.
class QOR_CRYPTO_EXPORT X509Store {
public:
    /// An empty store. Throws BasicException when there is no memory.
    X509Store();

    /// Trusts a certificate; one that is there already is not added twice. Throws BasicException.
    void AddCert(const X509Cert& cert);

    /// Trusts what the system trusts. Throws BasicException.
    void AddSystemCerts();

    /// For calls of OpenSSL; stays owned by this object.
    X509_STORE* Get() const { return m_store.get(); }

private:
    std::shared_ptr<X509_STORE> m_store;
};

}  // namespace kstr::Crypto
