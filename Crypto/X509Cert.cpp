#include "Crypto/X509Cert.h"

#include <openssl/x509.h>

#include "Crypto/BIOMemStream.h"
#include "Crypto/CredentialFile.h"
#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

X509Cert::X509Cert(X509* cert) {
    if (cert != nullptr)
        m_cert.reset(cert, &X509_free);
}

X509Cert X509Cert::Share(X509* cert) {
    if (cert != nullptr)
        X509_up_ref(cert);
    return X509Cert(cert);
}

X509Cert X509Cert::ReadPEM(const std::string& path) { return CredentialFile(path).Certificates().front(); }

std::string X509Cert::GetCertDetails() const {
    const BIOMemStream text;
    if (m_cert != nullptr && X509_print(text.Get(), m_cert.get()) != 1)
        OpenSSLErrors::Clear();  // what could not be printed is missing from the text
    return text.GetText();
}

X509Name X509Cert::GetIssuerName() const {
    return X509Name(std::shared_ptr<const X509_NAME>(m_cert, X509_get_issuer_name(m_cert.get())));
}

X509Name X509Cert::GetSubjectName() const {
    return X509Name(std::shared_ptr<const X509_NAME>(m_cert, X509_get_subject_name(m_cert.get())));
}

ASN1UtcTime X509Cert::GetNotBefore() const {
    return ASN1UtcTime(std::shared_ptr<const ASN1_TIME>(m_cert, X509_get0_notBefore(m_cert.get())));
}

ASN1UtcTime X509Cert::GetNotAfter() const {
    return ASN1UtcTime(std::shared_ptr<const ASN1_TIME>(m_cert, X509_get0_notAfter(m_cert.get())));
}

void X509Cert::Verify(const X509Cert& other) const {
    EVP_PKEY* const key = X509_get0_pubkey(m_cert.get());
    if (key == nullptr || X509_verify(other.m_cert.get(), key) != 1)
        OpenSSLErrors::Throw("certificate is not signed by the key");
}

}  // namespace kstr::Crypto
