#pragma once

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "Crypto/EVPKey.h"
#include "Crypto/StackOf_X509Cert.h"
#include "Crypto/X509Cert.h"

/// A certificate and the key that belongs to it.
struct TestIdentity {
    kstr::Crypto::X509Cert cert;
    kstr::Crypto::EVPKey key;

    /// Writes both as PEM to `base` + ".pem" and `base` + ".key".
    void Write(const std::string& base) const {
        const std::shared_ptr<FILE> pem(std::fopen((base + ".pem").c_str(), "w"), &std::fclose);
        const std::shared_ptr<FILE> pemOfKey(std::fopen((base + ".key").c_str(), "w"), &std::fclose);
        PEM_write_X509(pem.get(), cert.Get());
        PEM_write_PrivateKey(pemOfKey.get(), key.Get(), nullptr, nullptr, 0, nullptr, nullptr);
    }
};

/// What a certificate of the tests shall be like.
struct TestCertificate {
    enum Kind { ECDSA, RSA };

    std::string name = "localhost";  ///< common name and DNS name
    Kind kind = ECDSA;
    long validFrom = -3600;  ///< seconds from now
    long validUntil = 3600;  ///< seconds from now

    /// @param issuer  null: signed by its own key
    TestIdentity Make(const TestIdentity* issuer = nullptr, bool isAuthority = false) const {
        static long serial = 0;
        const TestIdentity made{kstr::Crypto::X509Cert(X509_new()),
                                kstr::Crypto::EVPKey(kind == RSA ? EVP_RSA_gen(2048) : EVP_EC_gen("P-256"))};
        X509* const raw = made.cert.Get();
        X509_set_version(raw, X509_VERSION_3);
        ASN1_INTEGER_set(X509_get_serialNumber(raw), ++serial);
        X509_gmtime_adj(X509_getm_notBefore(raw), validFrom);
        X509_gmtime_adj(X509_getm_notAfter(raw), validUntil);
        X509_set_pubkey(raw, made.key.Get());
        X509_NAME_add_entry_by_txt(X509_get_subject_name(raw), "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
        X509_set_issuer_name(raw, X509_get_subject_name(issuer != nullptr ? issuer->cert.Get() : raw));
        AddExtension(raw, NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
        if (!isAuthority)
            AddExtension(raw, NID_subject_alt_name, "DNS:" + name);
        if (X509_sign(raw, issuer != nullptr ? issuer->key.Get() : made.key.Get(), EVP_sha256()) <= 0)
            throw std::runtime_error("OpenSSL failed to make a test certificate");
        return made;
    }

private:
    static void AddExtension(X509* cert, int nid, const std::string& value) {
        const std::shared_ptr<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str()),
                                                        &X509_EXTENSION_free);
        X509_add_ext(cert, extension.get(), -1);
    }
};

/// A certificate authority made at test time: each has a key of its own, whatever its name.
class TestCA {
public:
    explicit TestCA(const std::string& name = "Test CA")
        : m_self(TestCertificate{name, TestCertificate::ECDSA, -7200, 7200}.Make(nullptr, true)) {}

    TestIdentity Issue(const TestCertificate& wanted = {}) const { return wanted.Make(&m_self); }

    const kstr::Crypto::X509Cert& Cert() const { return m_self.cert; }

    /// A list of this authority alone.
    kstr::Crypto::StackOf_X509Cert Stack() const {
        kstr::Crypto::StackOf_X509Cert stack;
        stack.push(m_self.cert);
        return stack;
    }

private:
    TestIdentity m_self;
};

inline TestIdentity MakeSelfSigned(const TestCertificate& wanted = {}) { return wanted.Make(); }
