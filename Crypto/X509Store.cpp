#include "Crypto/X509Store.h"

#include <openssl/x509_vfy.h>

#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

X509Store::X509Store()
    : m_store(OpenSSLErrors::Require(X509_STORE_new(), "unable to create certificate store"), &X509_STORE_free) {}

void X509Store::AddCert(const X509Cert& cert) {
    OpenSSLErrors::Require(X509_STORE_add_cert(m_store.get(), cert.Get()), "unable to add certificate to store");
}

void X509Store::AddSystemCerts() {
    OpenSSLErrors::Require(X509_STORE_set_default_paths(m_store.get()), "unable to add the system's certificates");
}

}  // namespace kstr::Crypto
