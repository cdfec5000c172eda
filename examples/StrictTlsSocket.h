#pragma once

#include <string>

#include "Crypto/StackOf_X509Cert.h"
#include "Network/Network/RkSSLSocket.h"

/// A client's TLS socket that checks what RkSSLSocket does not: the chain up to a trusted authority, the times, and the host
/// that the server's certificate is made out to. OpenSSL does it during the handshake, so that Connect throws before a byte
/// is sent to the wrong server.
class StrictTlsSocket : public RkSSLSocket {
public:
    /// @param authorities  who may sign the server's certificate
    /// @param host         name (or address) that the certificate must be made out to
    StrictTlsSocket(const kstr::Crypto::StackOf_X509Cert& authorities, const std::string& host)
        : RkSSLSocket(NoCredentials()) {
        constexpr int VERIFY_PEER = 1;
        for (unsigned long i = 0; i < authorities.size(); ++i)
            m_pCtx->GetCertStore().AddCert(authorities[i]);
        m_pCtx->SetVerify(VERIFY_PEER, nullptr);
        m_pCtx->SetVerifyHost(host);
    }
};
