#include "Crypto/StackOf_X509Cert.h"

#include "Crypto/CredentialFile.h"

namespace kstr::Crypto {

StackOf_X509Cert StackOf_X509Cert::ReadPEM(const std::string& path) {
    StackOf_X509Cert stack;
    stack.m_certs = CredentialFile(path).Certificates();
    return stack;
}

void StackOf_X509Cert::push(const X509Cert& cert) { m_certs.push_back(cert); }

unsigned long StackOf_X509Cert::size() const { return m_certs.size(); }

X509Cert& StackOf_X509Cert::operator[](unsigned long index) { return m_certs[index]; }

const X509Cert& StackOf_X509Cert::operator[](unsigned long index) const { return m_certs[index]; }

}  // namespace kstr::Crypto
