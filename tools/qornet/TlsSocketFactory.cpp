#include "TlsSocketFactory.h"

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <iostream>
#include <memory>

#include "Commands.h"
#include "Network/Network/RkSSLSocket.h"

namespace {

/// A TLS socket that tells its peer of the end before it closes: an answer without a length ends there, and clients take an
/// end that was not told for a cut. Each connection carries one answer, so what does not fill a packet may wait for the close
/// that follows (the system holds it for 200 ms at most): a short answer, the word of its end and that of the connection's go
/// out together.
class ServeTlsSocket : public RkSSLSocket {
public:
    using RkSSLSocket::RkSSLSocket;

    void AcceptSocket() override {
        RkSSLSocket::AcceptSocket();
        const int on = 1;
        ::setsockopt(m_sock, IPPROTO_TCP, TCP_CORK, &on, sizeof on);  // only a gain, so a failure is none
    }

    void Close() override {
        TellEnd();
        RkSSLSocket::Close();
    }

private:
    void TellEnd() {
        if (m_pSSL == nullptr || !IsOpen())
            return;
        try {
            bool done = false;
            m_pSSL->Shutdown(done, false);
        } catch (const kstr::BasicException&) {  // the peer is gone already
        }
    }
};

void WarnIfOthersMayRead(const std::string& keyFile) {
    struct stat status {};
    if (::stat(keyFile.c_str(), &status) == 0 && (status.st_mode & (S_IRGRP | S_IROTH)) != 0)
        std::cerr << "qornet: others may read the private key in '" << keyFile << "'; chmod 600 keeps them out\n";
}

}  // namespace

TlsSocketFactory::TlsSocketFactory(const std::string& certFile, const std::string& keyFile)
    : m_certFile(certFile), m_keyFile(keyFile) {
    try {
        const std::unique_ptr<RkTcpSocket> first(TlsSocketFactory::CreateSocket());
    } catch (const RkException& error) {
        throw CommandFailed(std::string(error.what()) + "; see --cert and --key");
    }
    WarnIfOthersMayRead(keyFile);
}

RkTcpSocket* TlsSocketFactory::CreateSocket() { return new ServeTlsSocket(m_keyFile, m_certFile, true); }
