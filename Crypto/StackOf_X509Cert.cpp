#include "Crypto/StackOf_X509Cert.h"

namespace kstr::Crypto {

void StackOf_X509Cert::push(const X509Cert& cert) { m_certs.push_back(cert); }

unsigned long StackOf_X509Cert::size() const { return m_certs.size(); }

X509Cert& StackOf_X509Cert::operator[](unsigned long index) { return m_certs[index]; }

const X509Cert& StackOf_X509Cert::operator[](unsigned long index) const { return m_certs[index]; }

}  // namespace kstr::Crypto
