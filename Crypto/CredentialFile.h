#pragma once

#include <string>
#include <vector>

#include "Crypto/EVPKey.h"
#include "Crypto/X509Cert.h"

namespace kstr::Crypto {

/// The content of a certificate or key file, read in one go; wiped from memory by the destructor. Not exported.
class CredentialFile {
public:
    /// How a key file is written; OpenSSL's SSL_FILETYPE_... values.
    enum Type { PEM = 1, DER = 2 };

    /// Reads a regular file of at most 1 MiB. Throws BasicException naming path and reason.
    explicit CredentialFile(const std::string& path);
    ~CredentialFile();

    CredentialFile(const CredentialFile&) = delete;
    CredentialFile& operator=(const CredentialFile&) = delete;

    /// What tells one state of a file from another: device, inode, size, modification and change time (nanoseconds), as
    /// bytes of one length, not as text: every connection of a server asks for it.
    /// Throws BasicException naming path and reason.
    static std::string IdentityOf(const std::string& path);

    /// @return whether later readers that find `identity` may take this content for theirs: it did not change while it
    ///         was read, and is old enough that no further change can bear the same times
    bool Settled(const std::string& identity) const;

    /// @return the PEM certificates in the order of the file, at least one. Throws BasicException.
    std::vector<X509Cert> Certificates() const;

    /// @param type  a Type. Throws BasicException, also for an encrypted key.
    EVPKey PrivateKey(int type) const;

private:
    std::string m_path;
    std::string m_text;
    std::string m_identity;  ///< empty when the file changed while it was read, or only just before
};

}  // namespace kstr::Crypto
