#include "Crypto/EVPKey.h"

#include <openssl/evp.h>

#include "Crypto/CredentialFile.h"

namespace kstr::Crypto {

EVPKey::EVPKey(EVP_PKEY* key) : m_key(key, &EVP_PKEY_free) {}

EVPKey EVPKey::ReadPEM(const std::string& path) { return CredentialFile(path).PrivateKey(CredentialFile::PEM); }

}  // namespace kstr::Crypto
