#include "Crypto/X509StoreContext.h"

#include <openssl/x509_vfy.h>

namespace kstr::Crypto {

X509Cert X509StoreContext::GetCurrentCert() const {
    return X509Cert::Share(X509_STORE_CTX_get_current_cert(m_context));
}

X509Cert X509StoreContext::GetCertificate() const { return X509Cert::Share(X509_STORE_CTX_get0_cert(m_context)); }

int X509StoreContext::GetError() const { return X509_STORE_CTX_get_error(m_context); }

std::string X509StoreContext::GetErrorText(int error) { return X509_verify_cert_error_string(error); }

int X509StoreContext::GetErrorDepth() const { return X509_STORE_CTX_get_error_depth(m_context); }

}  // namespace kstr::Crypto
