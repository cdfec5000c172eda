#pragma once

#include <memory>
#include <string>

#include "Crypto/EVPKey.h"
#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"
#include "Crypto/SSLConnection.h"
#include "Crypto/X509Cert.h"
#include "Crypto/X509Store.h"
#include "Crypto/X509StoreContext.h"

namespace kstr::Crypto {

class PeerVerification;
class SharedContext;

/// The settings of TLS sessions: protocol, ciphers, own credentials, how the peer is verified.
///
/// For one thread at a time. Made for each socket, so it is cheap: contexts of equal protocol, ciphers and credentials
/// share OpenSSL's object behind the scenes. Credential objects are equal if they are the same object; files, if device,
/// inode, size, modification and change time are the same, so a file that was replaced is read by the next context.
/// Sessions take up the settings when they are created, except the two callbacks, which they ask as they are at the time.
///
/// Sessions never renegotiate. Without verification a server grants session tickets; with it every session makes a full
/// handshake, so that each peer is verified.
///
/// All operations that can fail throw BasicException with OpenSSL's whole error queue in the text, leave the queue empty,
/// and leave the context as it was.
class QOR_CRYPTO_EXPORT SSLContext {
public:
    struct Method {
        enum Type {
            TLSV12 = 12  ///< TLS 1.2 and nothing else, client or server
        };
    };

    /// @return a new context
    static std::unique_ptr<SSLContext> Create(Method::Type method);

    ~SSLContext();
    SSLContext(const SSLContext&) = delete;
    SSLContext& operator=(const SSLContext&) = delete;

    /// @param ciphers  an OpenSSL cipher list
    void SetCipherString(const char* ciphers);

    /// Installs this endpoint's certificate: the first one of a PEM file. Further ones are sent along with it.
    void UseCert(const std::string& path);
    void UseCert(const X509Cert& cert);

    /// Installs the private key, after the certificate. A key that does not belong to the certificate is no error here:
    /// CheckPrivateKey tells.
    /// @param type  1: PEM, 2: DER. An encrypted key is refused: nobody is asked for a pass phrase.
    void UsePrivateKey(const std::string& path, int type);
    void UsePrivateKey(const EVPKey& key);

    /// @return whether there are a certificate and a key and the two belong together
    bool CheckPrivateKey() const;

    /// @param mode      OpenSSL's SSL_VERIFY_... flags; 0 verifies nothing
    /// @param callback  asked for each certificate that OpenSSL verifies; null: what OpenSSL found stands. An exception out
    ///                  of it means "no".
    void SetVerify(int mode, int (*callback)(int preverifyOk, X509StoreContext* context));

    /// Replaces OpenSSL's verification of the chain.
    /// @param callback  returns 1 to accept the peer, 0 to refuse it; an exception means 0. Null: OpenSSL verifies.
    /// @param argument  handed to the callback; this context's own, whatever else is shared
    void SetCertVerifyCallback(int (*callback)(X509StoreContext* context, void* argument), void* argument);

    /// Makes OpenSSL's verification also demand that the peer's certificate is made out to a host.
    /// @param host  name or address as text; empty: any
    void SetVerifyHost(const std::string& host);

    /// The certificates that OpenSSL's verification trusts; none at first.
    X509Store& GetCertStore();

    /// @return a new session. It may outlive this context.
    std::unique_ptr<SSLConnection> CreateConnection() const;

private:
    explicit SSLContext(std::shared_ptr<const SharedContext> shared);

    std::shared_ptr<const SharedContext> m_shared;
    std::shared_ptr<PeerVerification> m_verification;
    std::unique_ptr<X509Store> m_store;  ///< null until asked for
    std::string m_verifyHost;
};

}  // namespace kstr::Crypto
