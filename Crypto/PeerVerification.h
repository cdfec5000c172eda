#pragma once

#include <openssl/ssl.h>

#include "Crypto/X509StoreContext.h"

namespace kstr::Crypto {

/// Who decides about the peer of one context's sessions. Not exported.
///
/// OpenSSL keeps the chain callback and its argument in its context object, which many SSLContexts may share. So that
/// object only ever gets the functions of this class, and each session leads them to the callbacks of its own SSLContext.
/// Set by the thread that owns the context, never during a handshake.
class PeerVerification {
public:
    using CertificateCallback = int (*)(int, X509StoreContext*);
    using ChainCallback = int (*)(X509StoreContext*, void*);

    int mode = SSL_VERIFY_NONE;                 ///< SSL_VERIFY_... flags
    CertificateCallback certificate = nullptr;  ///< null: what OpenSSL found stands
    ChainCallback chain = nullptr;              ///< null: OpenSSL verifies the chain itself
    void* chainArgument = nullptr;

    /// Makes `ssl` ask the callbacks of `verification`, which must outlive it.
    static void Attach(SSL* ssl, PeerVerification* verification);

    /// For SSL_CTX_set_cert_verify_callback.
    static int VerifyChain(X509_STORE_CTX* context, void*);

private:
    static int VerifyCertificate(int preverifyOk, X509_STORE_CTX* context);
    static const PeerVerification& Of(X509_STORE_CTX* context);
};

}  // namespace kstr::Crypto
