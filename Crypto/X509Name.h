#pragma once

#include <memory>
#include <string>

#include "Crypto/BIOStream.h"
#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"

namespace kstr::Crypto {

/// The subject or issuer of a certificate. Keeps its certificate alive; immutable, so safe from any number of threads.
class QOR_CRYPTO_EXPORT X509Name {
public:
    /// @param name  shares the ownership of what the name is part of; not null
    explicit X509Name(std::shared_ptr<const X509_NAME> name);

    /// @return the name in one line, for example "/O=Kestrion/CN=www". A NUL in a name hides nothing: bytes that do not
    ///         print are written in hexadecimal, after a backslash and an x. Throws BasicException when there is no memory.
    std::string GetOneLine() const;

    /// Prints the name into a stream.
    /// @param indent  blanks in front
    /// @param flags   OpenSSL's XN_FLAG_... values
    /// Throws BasicException when the stream takes nothing.
    void Print(const BIOStream& stream, int indent, unsigned long flags) const;

private:
    std::shared_ptr<const X509_NAME> m_name;
};

}  // namespace kstr::Crypto
