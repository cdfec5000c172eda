#pragma once

#include <string>
#include <vector>

#include "Crypto/X509Cert.h"

namespace kstr::Crypto {

/// A list of certificates, for example the trusted CAs. Safe from any number of threads as long as nobody pushes.
class QOR_CRYPTO_EXPORT StackOf_X509Cert {
public:
    /// Reads all certificates of a PEM file. Throws BasicException naming the path.
    static StackOf_X509Cert ReadPEM(const std::string& path);

    /// Appends a certificate, shared with the caller.
    void push(const X509Cert& cert);

    unsigned long size() const;

    /// @param index  below size()
    X509Cert& operator[](unsigned long index);
    const X509Cert& operator[](unsigned long index) const;

private:
    std::vector<X509Cert> m_certs;
};

}  // namespace kstr::Crypto
