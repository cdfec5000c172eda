#pragma once

#include <openssl/ec.h>
#include <openssl/x509.h>

#include <string>

#include "Crypto/EVPKey.h"
#include "Crypto/X509Cert.h"

/// A self-signed certificate for an hour, so that a demonstration needs no files. Yours come from an authority, or from
/// scripts/dev-certs.
struct DemoCertificate {
    /// @param ownKey  taken over
    explicit DemoCertificate(const std::string& host, EVP_PKEY* ownKey = EVP_EC_gen("P-256"))
        : key(ownKey), cert(X509_new()) {
        X509* const raw = cert.Get();
        X509_set_version(raw, X509_VERSION_3);
        ASN1_INTEGER_set(X509_get_serialNumber(raw), 1);
        X509_gmtime_adj(X509_getm_notBefore(raw), -60);
        X509_gmtime_adj(X509_getm_notAfter(raw), 3600);
        X509_set_pubkey(raw, key.Get());
        X509_NAME* const name = X509_get_subject_name(raw);
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(host.c_str()), -1,
                                   -1, 0);
        X509_set_issuer_name(raw, name);
        X509_sign(raw, key.Get(), EVP_sha256());
    }

    kstr::Crypto::EVPKey key;
    kstr::Crypto::X509Cert cert;
};
