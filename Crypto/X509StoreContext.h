#pragma once

#include <string>

#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"
#include "Crypto/X509Cert.h"

namespace kstr::Crypto {

/// A look at a certificate verification in progress, as verification callbacks get it. Owns nothing: valid as long as
/// OpenSSL's object, that is until the callback returns.
class QOR_CRYPTO_EXPORT X509StoreContext {
public:
    explicit X509StoreContext(X509_STORE_CTX* context) : m_context(context) {}

    /// @return the certificate that the check has come to; none where it concerns no particular one
    X509Cert GetCurrentCert() const;

    /// @return the peer's own certificate, which is to be verified
    X509Cert GetCertificate() const;

    /// @return 0, or an OpenSSL X.509 verification error (X509_V_ERR_...)
    int GetError() const;

    /// @return how far the current certificate is up the chain; 0 is the peer's own
    int GetErrorDepth() const;

    /// @param error  as GetError gives it
    /// @return what it means, for example "certificate has expired"
    static std::string GetErrorText(int error);

    /// For calls of OpenSSL.
    X509_STORE_CTX* Get() const { return m_context; }

private:
    X509_STORE_CTX* m_context;
};

}  // namespace kstr::Crypto
