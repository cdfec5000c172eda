#include "TestCertificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

using kstr::Crypto::EVPKey;
using kstr::Crypto::X509Cert;

namespace {

void Require(bool good) {
    if (!good)
        throw std::runtime_error("OpenSSL failed to make a test certificate");
}

EVPKey MakeKey(TestCertificate::Kind kind) {
    return EVPKey(kind == TestCertificate::RSA ? EVP_RSA_gen(2048) : EVP_EC_gen("P-256"));
}

void AddExtension(X509* cert, int kind, const std::string& value) {
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()), &X509_EXTENSION_free);
    Require(extension != nullptr && X509_add_ext(cert, extension.get(), -1) == 1);
}

/// @param issuer  null: signed by its own key
TestIdentity Make(const TestCertificate& wanted, const TestIdentity* issuer, bool isAuthority) {
    static long serial = 0;
    const EVPKey key = MakeKey(wanted.kind);
    const X509Cert cert(X509_new());
    X509* const raw = cert.Get();
    X509_set_version(raw, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(raw), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(raw), wanted.validFrom);
    X509_gmtime_adj(X509_getm_notAfter(raw), wanted.validUntil);
    X509_set_pubkey(raw, key.Get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(raw), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(wanted.name.c_str()), -1, -1, 0);
    X509_set_issuer_name(raw, X509_get_subject_name(issuer != nullptr ? issuer->cert.Get() : raw));
    AddExtension(raw, NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
    if (!isAuthority)
        AddExtension(raw, NID_subject_alt_name, "DNS:" + wanted.name);
    Require(X509_sign(raw, issuer != nullptr ? issuer->key.Get() : key.Get(), EVP_sha256()) > 0);
    return {cert, key};
}

std::shared_ptr<FILE> Create(const std::string& path) {
    FILE* const file = std::fopen(path.c_str(), "w");
    Require(file != nullptr);
    return {file, &std::fclose};
}

}  // namespace

void TestIdentity::Write(const std::string& base) const {
    Require(PEM_write_X509(Create(base + ".pem").get(), cert.Get()) == 1);
    Require(PEM_write_PrivateKey(Create(base + ".key").get(), key.Get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
}

TestCA::TestCA(const std::string& name) : m_self(Make({name, TestCertificate::ECDSA, -7200, 7200}, nullptr, true)) {}

TestIdentity TestCA::Issue(const TestCertificate& wanted) const { return Make(wanted, &m_self, false); }

kstr::Crypto::StackOf_X509Cert TestCA::Stack() const {
    kstr::Crypto::StackOf_X509Cert stack;
    stack.push(m_self.cert);
    return stack;
}

TestIdentity MakeSelfSigned(const TestCertificate& wanted) { return Make(wanted, nullptr, false); }
