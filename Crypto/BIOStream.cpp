#include "Crypto/BIOStream.h"

#include <openssl/bio.h>

#include "Crypto/OpenSSLErrors.h"

namespace kstr::Crypto {

BIOStream BIOStream::Create(const BIO_METHOD* method) { return BIOStream(method); }

BIOStream::BIOStream(const BIO_METHOD* method)
    : m_bio(OpenSSLErrors::Require(BIO_new(method), "unable to create stream"), &BIO_free_all) {}

}  // namespace kstr::Crypto
