#pragma once

#include <memory>
#include <string>

#include "Crypto/ASN1UtcTime.h"
#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"
#include "Crypto/X509Name.h"

namespace kstr::Crypto {

/// A certificate, or none. Copies share the one immutable certificate; safe from any number of threads.
class QOR_CRYPTO_EXPORT X509Cert {
public:
    /// No certificate: false in a condition. Only GetCertDetails may be asked of it, and says nothing.
    X509Cert() = default;

    /// Takes over one reference of the caller's. @param cert  null: no certificate
    explicit X509Cert(X509* cert);

    /// Adds a reference of its own. @param cert  stays the caller's; null: no certificate
    static X509Cert Share(X509* cert);

    /// Reads the first certificate of a PEM file. Throws BasicException naming the path.
    static X509Cert ReadPEM(const std::string& path);

    explicit operator bool() const { return m_cert != nullptr; }

    /// @return many lines that describe the certificate to a human; empty where there is none
    std::string GetCertDetails() const;

    X509Name GetIssuerName() const;   ///< who signed it, by its own account
    X509Name GetSubjectName() const;  ///< whom it was made out to

    ASN1UtcTime GetNotBefore() const;  ///< begin of its life
    ASN1UtcTime GetNotAfter() const;   ///< end of its life

    /// Checks that `other` is signed by this certificate's key, and nothing else: no names, no times, no purposes.
    /// Throws BasicException if it is not.
    void Verify(const X509Cert& other) const;

    /// For calls of OpenSSL; stays owned by this object.
    X509* Get() const { return m_cert.get(); }

private:
    std::shared_ptr<X509> m_cert;
};

}  // namespace kstr::Crypto
