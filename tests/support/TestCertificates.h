#pragma once

#include <string>

#include "Crypto/EVPKey.h"
#include "Crypto/StackOf_X509Cert.h"
#include "Crypto/X509Cert.h"

/// A certificate and the key that belongs to it.
struct TestIdentity {
    kstr::Crypto::X509Cert cert;
    kstr::Crypto::EVPKey key;

    /// Writes both as PEM to `base` + ".pem" and `base` + ".key".
    void Write(const std::string& base) const;
};

/// What a certificate of the tests shall be like.
struct TestCertificate {
    enum Kind { ECDSA, RSA };

    std::string name = "localhost";  ///< common name and DNS name
    Kind kind = ECDSA;
    long validFrom = -3600;  ///< seconds from now
    long validUntil = 3600;  ///< seconds from now
};

/// A certificate authority made at test time: each has a key of its own, whatever its name.
class TestCA {
public:
    explicit TestCA(const std::string& name = "Test CA");

    TestIdentity Issue(const TestCertificate& wanted = {}) const;

    const kstr::Crypto::X509Cert& Cert() const { return m_self.cert; }

    /// A list of this authority alone.
    kstr::Crypto::StackOf_X509Cert Stack() const;

private:
    TestIdentity m_self;
};

TestIdentity MakeSelfSigned(const TestCertificate& wanted = {});
