#include "Network/Network/RkSSLSocket.h"

#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <utility>

#include "Crypto/BIOMemStream.h"
#include "Diag/RkLogStream.h"
#include "Network/Network/RkMessage.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSelect.h"

using kstr::BasicException;
using kstr::Crypto::SSLConnection;
using kstr::Crypto::SSLContext;
using kstr::Crypto::X509Cert;
using kstr::Crypto::X509StoreContext;
using kstr::diag::LV_DEBUG;
using kstr::diag::LV_ERROR;

namespace {

[[noreturn]] void Throw(std::string_view text, std::string_view detail = {}) {
    throw RkNetworkException(RkMessage(text, detail));
}

constexpr const char* LOGGER = "Qor.Network.Network.RkSSLSocket";
constexpr const char* CIPHERS = "TLSv1.2+ECDSA:AES256-SHA256";
constexpr int KEY_FILE_PEM = 1;
constexpr int VERIFY_AND_DEMAND_CERT = 3;
constexpr int HANDSHAKE_SECONDS = 15;
constexpr int SHUT_DOWN_BOTH_WAYS = 3;

/// Switches a socket to non-blocking mode for one scope.
class NonBlockingScope {
public:
    explicit NonBlockingScope(RkSocket& socket) : m_socket(socket), m_wasNonBlocking(socket.GetNonBlockingMode()) {
        m_socket.SetNonBlockingMode(true);
    }
    ~NonBlockingScope() {
        if (m_wasNonBlocking || !m_socket.IsOpen())  // changing the mode of a closed socket would open it
            return;
        try {
            m_socket.SetNonBlockingMode(false);
        } catch (const RkException&) {  // the descriptor is broken, as the next call on it will tell
        }
    }
    NonBlockingScope(const NonBlockingScope&) = delete;
    NonBlockingScope& operator=(const NonBlockingScope&) = delete;

private:
    RkSocket& m_socket;
    bool m_wasNonBlocking;
};

void LogMissingIssuer(kstr::diag::RkLogger& logger, const X509Cert& cert) {
    if (!cert)
        return;
    const kstr::Crypto::BIOMemStream issuer;
    cert.GetIssuerName().Print(issuer, 0, XN_FLAG_RFC2253);
    DIAG_LOG(logger, LV_ERROR,
             "Failing SSL connection.  Unable to get Issuer certificate. Issuer: " << issuer.GetText());
}

std::unique_ptr<SSLContext> NewContext() { return SSLContext::Create(SSLContext::Method::TLSV12); }

}  // namespace

RkSSLSocket::RkSSLSocket() : m_keyLoc("./key.pem"), m_certLoc("./cert.pem"), m_logger(LOGGER) { Init(); }

RkSSLSocket::RkSSLSocket(X509Cert* cert, kstr::Crypto::StackOf_X509Cert* caCerts, kstr::Crypto::EVPKey* key)
    : m_pCompCert(cert), m_pCACerts(caCerts), m_pKey(key), m_logger(LOGGER) {
    Init();
    DIAG_LOG(m_logger, LV_DEBUG, "Created w/ cert: " << m_pCompCert->GetCertDetails());
}

RkSSLSocket::RkSSLSocket(X509Cert* cert, kstr::Crypto::StackOf_X509Cert* caCerts, kstr::Crypto::EVPKey* key,
                         const RkInetAddress& addr, bool flag)
    : RkTcpSocket(addr, flag), m_pCompCert(cert), m_pCACerts(caCerts), m_pKey(key), m_logger(LOGGER) {
    Init();
}

RkSSLSocket::RkSSLSocket(const std::string& keyFile, const std::string& certFile, RkBool init)
    : m_keyLoc(keyFile), m_certLoc(certFile), m_logger(LOGGER) {
    if (init)
        Init();
    else
        VerifyCertAndKey();
}

RkSSLSocket::RkSSLSocket(const RkInetAddress& addr, bool flag) : RkTcpSocket(addr, flag), m_logger(LOGGER) { Init(); }

RkSSLSocket::RkSSLSocket(NoCredentials) : m_logger(LOGGER) { CreateContext(); }

RkSSLSocket::RkSSLSocket(const RkSSLSocket& source) : RkTcpSocket(source), m_logger(LOGGER) { TakeFrom(source); }

RkSSLSocket& RkSSLSocket::operator=(const RkSSLSocket& source) {
    if (this == &source)
        return *this;
    (void)m_pSSL.release();  // kept: an assignment releases nothing
    (void)m_pCtx.release();
    TakeFrom(source);
    return *this;
}

RkSSLSocket::~RkSSLSocket() { Uninit(); }

void RkSSLSocket::TakeFrom(const RkSSLSocket& source) {
    SetHandle(source.m_sock);
    m_pCtx = std::move(source.m_pCtx);
    m_pSSL = std::move(source.m_pSSL);
    m_pCompCert = std::exchange(source.m_pCompCert, nullptr);
    m_pCACerts = std::exchange(source.m_pCACerts, nullptr);
    m_pKey = std::exchange(source.m_pKey, nullptr);
    m_keyLoc = source.m_keyLoc;
    m_certLoc = source.m_certLoc;
    if (m_pCtx != nullptr && HasObjects())
        m_pCtx->SetCertVerifyCallback(certVerifyCallback, this);  // handshakes to come ask the new owner
}

void RkSSLSocket::Init() {
    CreateContext();
    if (HasObjects())
        LoadObjects();
    else if (!m_certLoc.empty() && !m_keyLoc.empty())
        LoadFiles();
    else {
        ErrSaveAndSecurityLog(
            "Failing certificate or private key file read.  Unable to load certificate or private key file.");
        Throw("unable to load certificate file or private key file. ");
    }
}

bool RkSSLSocket::HasObjects() const { return m_pCompCert != nullptr && m_pCACerts != nullptr && m_pKey != nullptr; }

void RkSSLSocket::CreateContext() {
    try {
        auto context = NewContext();
        context->SetCipherString(CIPHERS);
        m_pCtx = std::move(context);
    } catch (const BasicException& e) {
        Throw("unable to create ssl context, ", e.GetMessage());
    }
}

void RkSSLSocket::LoadObjects() {
    if (!setCertificateAndKey())
        Throw("unable to set certificate and key on context");
    m_pCtx->SetVerify(VERIFY_AND_DEMAND_CERT, verifyCallback);
    m_pCtx->SetCertVerifyCallback(certVerifyCallback, this);
}

void RkSSLSocket::LoadFiles() {
    try {
        m_pCtx->UseCert(m_certLoc);
        m_pCtx->UsePrivateKey(m_keyLoc, KEY_FILE_PEM);
    } catch (const BasicException& e) {
        ErrSaveAndSecurityLog("Unable to load certificate or private key file.");
        Throw("unable to load certificate or private key file, ", e.GetMessage());
    }
    if (!m_pCtx->CheckPrivateKey()) {
        ErrSaveAndSecurityLog("Private key does not match the certificate public key.");
        Throw("private key does not match the certificate public key");
    }
}

void RkSSLSocket::Uninit() {
    if (m_pSSL != nullptr)
        m_pSSL->SetShutdownState(SHUT_DOWN_BOTH_WAYS);
    m_pSSL.reset();
    m_pCtx.reset();
}

bool RkSSLSocket::setCertificateAndKey() {
    const char* step = "setting certificate, ";
    try {
        m_pCtx->UseCert(*m_pCompCert);
        step = "setting private key, ";
        m_pCtx->UsePrivateKey(*m_pKey);
    } catch (const BasicException& e) {
        DIAG_LOG(m_logger, LV_ERROR, "Error: " << step << e.GetMessage());
        return false;
    }
    if (!m_pCtx->CheckPrivateKey()) {
        DIAG_LOG(m_logger, LV_ERROR, "Error: private key does not match the certificate public key");
        return false;
    }
    try {
        for (unsigned long i = 0; i < m_pCACerts->size(); ++i)
            m_pCtx->GetCertStore().AddCert((*m_pCACerts)[i]);
    } catch (const BasicException& e) {
        DIAG_LOG(m_logger, LV_ERROR, "Error: setting CA cert error= " << e.GetMessage());
        return false;
    }
    return true;
}

void RkSSLSocket::VerifyCertAndKey() {
    if (m_certLoc.empty() || m_keyLoc.empty()) {
        // "priavate" is kept: callers compare this text (test TellsOfMissingPathsInItsOwnSpelling).
        ErrSaveAndSecurityLog("Unable to load certificate or priavate key file.");
        return;
    }
    const char* step = "create ssl context.";
    try {
        const auto context = NewContext();
        step = "load certificate file.";
        context->UseCert(m_certLoc);
        step = "load private key file.";
        context->UsePrivateKey(m_keyLoc, KEY_FILE_PEM);
        if (!context->CheckPrivateKey())
            ErrSaveAndSecurityLog("Private key does not match the certificate public key.");
    } catch (const BasicException& e) {
        ErrSaveAndSecurityLog(std::string("Unable to ") + step);
        ErrSaveAndSecurityLog(" " + e.GetMessage());  // the second text is the one that ErrMsg gives
    }
}

int RkSSLSocket::VerifyPeerCert(X509Cert& peer) {
    const std::string issuer = peer.GetIssuerName().GetOneLine();
    for (unsigned long i = 0; i < m_pCACerts->size(); ++i) {
        const X509Cert& ca = (*m_pCACerts)[i];
        const std::string subject = ca.GetSubjectName().GetOneLine();
        if (subject != issuer) {
            DIAG_LOG(m_logger, LV_ERROR,
                     "Failing SSL Verification.  Received certificate could not find valid issuer. PeerIssuer : "
                         << issuer << "  local issuer: " << subject);
            continue;
        }
        try {
            ca.Verify(peer);
        } catch (const BasicException&) {
            DIAG_LOG(m_logger, LV_ERROR,
                     "Failing SSL Verification.  The certificate failed to be verified by the key.");
            continue;
        }
        // Out of its time is logged and accepted: callers rely on it (test AcceptsACertificateOutOfItsTime).
        if (peer.GetNotBefore().CompareWithNow() >= 0)
            DIAG_LOG(m_logger, LV_ERROR, "Failing SSL Verification.  Received certificate with bad not-before.");
        if (peer.GetNotAfter().CompareWithNow() <= 0)
            DIAG_LOG(m_logger, LV_ERROR, "Failing SSL Verification.  Received certificate with bad not-after.");
        return 1;
    }
    DIAG_LOG(
        m_logger, LV_ERROR,
        "Failing SSL Verification.  Received certificate either could not find valid issuer or failed to be verified "
        "by the key.");
    return 0;
}

void RkSSLSocket::ErrSaveAndSecurityLog(const std::string& msg) {
    m_errMsg = msg;
    DIAG_LOG(m_logger, LV_ERROR, msg);
}

bool RkSSLSocket::setSocketTimeout(int fd, int seconds) {
    const timeval timeout{seconds, 0};
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0) {
        DIAG_LOG(m_logger, LV_ERROR, "setSocketTimeout: failed to set receive timeout");
        return false;
    }
    if (::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout) != 0) {
        DIAG_LOG(m_logger, LV_ERROR, "setSocketTimeout: failed to set send timeout");
        return false;
    }
    return true;
}

void RkSSLSocket::Connect(const RkInetAddress& addr) {
    RkTcpSocket::Connect(addr);
    ClientHandshake();
}

void RkSSLSocket::Connect(const RkInetAddress& addr, const RkTimePeriod& timeout) {
    RkTcpSocket::Connect(addr, timeout);
    ClientHandshake();
}

void RkSSLSocket::ClientHandshake() {
    const char* step = "create ssl session, ";
    try {
        m_pSSL = Context().CreateConnection();
        step = "set fd, ";
        m_pSSL->SetFD(m_sock);
        m_pSSL->SetConnectState();
        step = "connect using ssl, ";
        m_pSSL->Connect();
        step = "get peer cert, ";
        LogPeerCert("Server");
        LogCipher();
    } catch (const BasicException& e) {
        DIAG_LOG(m_logger, LV_ERROR, "Error: unable to " << step << e.GetMessage());
        Throw(std::string("unable to ") + step, e.GetMessage());
    }
}

void RkSSLSocket::Accept(RkTcpSocket& client) { RkTcpSocket::Accept(client); }

bool RkSSLSocket::Accept(RkTcpSocket& client, const RkTimePeriod& timeout) {
    return RkTcpSocket::Accept(client, timeout);
}

void RkSSLSocket::AcceptSocket() {
    DIAG_LOG(m_logger, LV_DEBUG, "AcceptSocket");
    const char* step = "create ssl session, ";
    try {
        m_pSSL = Context().CreateConnection();
        step = "set fd, ";
        m_pSSL->SetFD(m_sock);
        m_pSSL->SetAcceptState();
        DIAG_LOG(m_logger, LV_DEBUG, "AcceptSocket before SSL_accept");
        setSocketTimeout(m_sock, HANDSHAKE_SECONDS);
        step = "accept, ";
        const int status = m_pSSL->Accept();
        DIAG_LOG(m_logger, LV_DEBUG, "AcceptSocket after SSL_accept");
        setSocketTimeout(m_sock, 0);
        CheckAccepted(status);
        step = "get peer cert, ";
        if (HasObjects())
            LogPeerCert("Client");
        LogCipher();
    } catch (const BasicException& e) {
        setSocketTimeout(m_sock, 0);
        DIAG_LOG(m_logger, LV_DEBUG, "Error: " << step << e.GetMessage());
        Throw(std::string("unable to ") + step, e.GetMessage());
    }
}

void RkSSLSocket::CheckAccepted(int status) {
    if (status != SSLConnection::WAIT_READABLE && status != SSLConnection::WAIT_WRITABLE)
        return;
    const int result = m_pSSL->GetVerifyResult();
    if (result == 0)
        return;
    DIAG_LOG(m_logger, LV_ERROR, "verify error:" << X509StoreContext::GetErrorText(result));
    Throw("unable to accept ssl connection");
}

void RkSSLSocket::LogPeerCert(const char* peer) {
    const X509Cert cert = m_pSSL->GetPeerCert();
    DIAG_LOG(m_logger, LV_DEBUG,
             "Received certificate from Peer(" << peer << "). Cert Details:\n"
                                               << cert.GetCertDetails());
}

void RkSSLSocket::LogCipher() { DIAG_LOG(m_logger, LV_DEBUG, "SSL Connection using: " << m_pSSL->GetCipher()); }

ssize_t RkSSLSocket::Read(char* buf, size_t len) {
    if (m_pSSL == nullptr)
        Throw("read failed - ssl buffer is null");
    try {
        size_t done = 0;
        Session().Read(buf, len, done);
        return static_cast<ssize_t>(done);
    } catch (const BasicException& e) {
        return Fail("read failed, ", e);
    }
}

ssize_t RkSSLSocket::Write(const char* buf, size_t len) {
    if (m_pSSL == nullptr)
        Throw("write failed - ssl buffer is null");
    try {
        size_t done = 0;
        Session().Write(buf, len, done);
        return static_cast<ssize_t>(done);
    } catch (const BasicException& e) {
        return Fail("write failed, ", e);
    }
}

ssize_t RkSSLSocket::Read(char* buf, size_t len, const RkTimePeriod& timeout) {
    const auto step = [&](size_t& done) { return m_pSSL->Read(buf, len, done); };
    return TransferTimed(step, timeout, "SSL_read", "Read error, ");
}

ssize_t RkSSLSocket::Write(const char* buf, size_t len, const RkTimePeriod& timeout) {
    const auto step = [&](size_t& done) { return m_pSSL->Write(buf, len, done); };
    return TransferTimed(step, timeout, "SSL_write", "Write error, ");
}

template <class Step>
ssize_t RkSSLSocket::TransferTimed(Step step, const RkTimePeriod& timeout, const char* call, const char* complaint) {
    try {
        Session();  // before the mode is touched, which would open a closed socket
        const NonBlockingScope scope(*this);
        for (;;) {
            size_t done = 0;
            const int status = step(done);
            if (status == SSLConnection::DONE)
                return static_cast<ssize_t>(done);
            if (!Await(status, timeout, call))
                return -1;
        }
    } catch (const BasicException& e) {
        return Fail(complaint, e);
    }
}

/// Logs why a read or write failed. @return what it returns then; errno says so too, which OpenSSL alone does not set
ssize_t RkSSLSocket::Fail(const char* complaint, const BasicException& e) {
    DIAG_LOG(m_logger, LV_ERROR, complaint << e.GetMessage());
    errno = EPROTO;
    return -1;
}

bool RkSSLSocket::Await(int status, const RkTimePeriod& timeout, const char* call) {
    RkSelect select;
    if (status == SSLConnection::WAIT_READABLE)
        select.AddReader(m_sock);
    else if (status == SSLConnection::WAIT_WRITABLE)
        select.AddWriter(m_sock);
    else
        return false;
    const int ready = select.Select(timeout, true);
    if (ready == 0) {
        DIAG_LOG(m_logger, LV_DEBUG,
                 "Timed out on " << call << ", timeout is " << timeout.TotalMilliSeconds() << " milliseconds");
        errno = ETIMEDOUT;
    }
    return ready > 0;
}

/// The session over the descriptor it was made for. A session outlives Close, and the number may be somebody else's by now.
SSLConnection& RkSSLSocket::Session() const {
    if (m_pSSL == nullptr || !IsOpen())
        throw BasicException("no session");
    return *m_pSSL;
}

SSLContext& RkSSLSocket::Context() const {
    if (m_pCtx == nullptr)
        throw BasicException("no context");
    return *m_pCtx;
}

RkErrorCode RkSSLSocket::Shutdown(int how) {
    if (m_pSSL != nullptr && IsOpen()) {
        try {
            bool done = false;
            m_pSSL->Shutdown(done, false);
        } catch (const BasicException& e) {
            DIAG_LOG(m_logger, LV_ERROR, "shutdown error:" << e.GetMessage());
        }
    }
    return ::shutdown(m_sock, how);
}

RkErrorCode RkSSLSocket::ShutdownSocket() { return IsOpen() ? Shutdown(SHUT_WR) : 0; }

void RkSSLSocket::CloseForce() {
    Uninit();
    RkTcpSocket::CloseForce();
}

int verifyCallback(int preverifyOk, X509StoreContext* ctx) {
    kstr::diag::RkLogger logger(LOGGER);
    const X509Cert cert = ctx->GetCurrentCert();
    const int error = ctx->GetError();
    // Written for good certificates as well: callers find every certificate in the log (test LogsEveryCertificateOfAChain).
    DIAG_LOG(logger, LV_ERROR,
             "Certificate received from peer has errors. Cert Details:\n"
                 << cert.GetCertDetails() << "\nDepth = " << ctx->GetErrorDepth() << "\nError = " << error);
    if (preverifyOk != 0)
        return preverifyOk;
    switch (error) {
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
            LogMissingIssuer(logger, cert);
            break;
        case X509_V_ERR_CERT_NOT_YET_VALID:
        case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
            DIAG_LOG(logger, LV_ERROR,
                     "Failing SSL connection.  Received cert with invalid not-before.  Check system time.");
            break;
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD:
            DIAG_LOG(logger, LV_ERROR,
                     "Failing SSL connection.  Received cert with invalid not-after.  Check system time.");
            break;
        default:
            DIAG_LOG(logger, LV_ERROR,
                     "Error in cert negotiation.  Error = " << error << " " << X509StoreContext::GetErrorText(error));
    }
    return preverifyOk;
}

int certVerifyCallback(X509StoreContext* ctx, void* arg) {
    X509Cert peer = ctx->GetCertificate();
    return static_cast<RkSSLSocket*>(arg)->VerifyPeerCert(peer);
}
