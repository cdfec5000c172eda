#include "Crypto/X509Name.h"

#include <openssl/crypto.h>
#include <openssl/x509.h>

#include <utility>

#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

X509Name::X509Name(std::shared_ptr<const X509_NAME> name) : m_name(std::move(name)) {}

std::string X509Name::GetOneLine() const {
    const auto release = [](char* line) { OPENSSL_free(line); };
    const std::unique_ptr<char, decltype(release)> line(
        OpenSSLErrors::Require(X509_NAME_oneline(m_name.get(), nullptr, 0), "unable to print name"), release);
    return line.get();
}

void X509Name::Print(const BIOStream& stream, int indent, unsigned long flags) const {
    if (X509_NAME_print_ex(stream.Get(), m_name.get(), indent, flags) < 0)
        OpenSSLErrors::Throw("unable to print name");
}

}  // namespace kstr::Crypto
