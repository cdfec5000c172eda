#include "Crypto/SSLConnection.h"

#include <fcntl.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "Base/BasicException.h"
#include "Crypto/OpenSSLErrors.h"
#include "Crypto/PeerVerification.h"
#include "Crypto/SocketBIO.h"
#include "Crypto/X509Store.h"
#include "Crypto/X509StoreContext.h"

namespace kstr::Crypto {

namespace {

constexpr const char* HANDSHAKE = "handshake failed";

/// The close notification waits for so long for room to be sent.
constexpr std::chrono::milliseconds NOTIFICATION_TIME{2000};

/// Waits until a descriptor is writable, or the time is over, however often signals interrupt it.
void AwaitRoom(int handle, std::chrono::milliseconds time) {
    using Clock = std::chrono::steady_clock;
    pollfd wanted{handle, POLLOUT, 0};
    const Clock::time_point end = Clock::now() + time;
    while (::poll(&wanted, 1, static_cast<int>(time.count())) == -1 && errno == EINTR)
        time = std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()), std::chrono::milliseconds{0});
}

}  // namespace

SSLConnection::SSLConnection(SSL_CTX* context, std::shared_ptr<PeerVerification> verification)
    : m_verification(std::move(verification)),
      m_ssl(OpenSSLErrors::Require(SSL_new(context), "unable to create session"), &SSL_free) {
    PeerVerification::Attach(m_ssl.get(), m_verification.get());
    if (m_verification->mode != SSL_VERIFY_NONE)
        SSL_set_options(m_ssl.get(), SSL_OP_NO_TICKET);  // a resumed session would not ask the callbacks
}

SSLConnection::~SSLConnection() = default;

void SSLConnection::SetFD(int handle) {
    BIO* const transport = SocketBIO::Create(handle);
    SSL_set_bio(m_ssl.get(), transport, transport);
    m_handle = handle;
}

void SSLConnection::SetConnectState() {
    SSL_set_options(m_ssl.get(), SSL_OP_NO_TICKET);  // this end never resumes
    SSL_set_connect_state(m_ssl.get());
}

void SSLConnection::SetAcceptState() { SSL_set_accept_state(m_ssl.get()); }

void SSLConnection::Connect() {
    for (;;) {
        OpenSSLErrors::Clear();
        const int status = Outcome(SSL_connect(m_ssl.get()), HANDSHAKE);
        if (status == DONE)
            return SocketBIO::StopLookingAhead(SSL_get_rbio(m_ssl.get()));
        Await(status);
    }
}

int SSLConnection::Accept() {
    OpenSSLErrors::Clear();
    const int status = Outcome(SSL_accept(m_ssl.get()), HANDSHAKE);
    if (status == DONE)
        SocketBIO::StopLookingAhead(SSL_get_rbio(m_ssl.get()));
    else if (IsBlocking())
        throw BasicException("handshake timed out");
    return status;
}

int SSLConnection::Read(void* data, size_t size, size_t& done) {
    done = 0;
    if (size == 0)
        return DONE;
    OpenSSLErrors::Clear();
    return Outcome(SSL_read_ex(m_ssl.get(), data, size, &done), "read failed");
}

int SSLConnection::Write(const void* data, size_t size, size_t& done) {
    done = 0;
    if (size == 0)
        return DONE;
    OpenSSLErrors::Clear();
    return Outcome(SSL_write_ex(m_ssl.get(), data, size, &done), "write failed");
}

int SSLConnection::Outcome(int result, const char* what) const {
    if (result > 0)
        return DONE;
    switch (SSL_get_error(m_ssl.get(), result)) {
        case SSL_ERROR_ZERO_RETURN:
            return DONE;
        case SSL_ERROR_WANT_READ:
            return WAIT_READABLE;
        case SSL_ERROR_WANT_WRITE:
            return WAIT_WRITABLE;
        case SSL_ERROR_SSL:
        case SSL_ERROR_SYSCALL:
            OpenSSLErrors::Throw(std::string(what) + WhyNotVerified());
        default:
            return FAILED;
    }
}

/// OpenSSL's queue only says that the verification failed.
std::string SSLConnection::WhyNotVerified() const {
    const int error = m_verification->mode == SSL_VERIFY_NONE || SSL_in_init(m_ssl.get()) == 0 ? 0 : GetVerifyResult();
    return error == 0 ? std::string() : " (" + X509StoreContext::GetErrorText(error) + ")";
}

bool SSLConnection::IsBlocking() const { return (::fcntl(m_handle, F_GETFL) & O_NONBLOCK) == 0; }

void SSLConnection::Await(int status) const {
    if (status == FAILED || IsBlocking())
        throw BasicException("handshake timed out");
    pollfd wanted{m_handle, static_cast<short>(status == WAIT_READABLE ? POLLIN : POLLOUT), 0};
    ::poll(&wanted, 1, -1);  // whatever it says, the next step of the handshake tells
}

X509Cert SSLConnection::GetPeerCert() const {
    X509Cert cert(SSL_get1_peer_certificate(m_ssl.get()));
    if (!cert)
        throw BasicException("peer presented no certificate");
    return cert;
}

std::string SSLConnection::GetCipher() const { return SSL_get_cipher_name(m_ssl.get()); }

std::string SSLConnection::GetProtocol() const { return SSL_get_version(m_ssl.get()); }

int SSLConnection::GetVerifyResult() const { return static_cast<int>(SSL_get_verify_result(m_ssl.get())); }

bool SSLConnection::IsResumed() const { return SSL_session_reused(m_ssl.get()) == 1; }

void SSLConnection::Shutdown(bool& done, bool wait) {
    done = false;
    if (SSL_in_init(m_ssl.get()) != 0)
        return;
    if (!HasAnnouncedEnd())
        SendNotification();
    done = SSL_get_shutdown(m_ssl.get()) == (SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    if (!done && wait)
        done = TakeShutdownStep();
}

void SSLConnection::SendNotification() {
    const bool isBegun = (SSL_get_shutdown(m_ssl.get()) & SSL_SENT_SHUTDOWN) != 0;
    if (!isBegun && SSL_want_write(m_ssl.get()))
        throw BasicException("close notification failed: an unfinished write stands before it");
    SocketBIO::SendWithoutWaiting(SSL_get_wbio(m_ssl.get()));
    TakeShutdownStep();
    if (!SSL_want_write(m_ssl.get()) || !IsBlocking())
        return;
    AwaitRoom(m_handle, NOTIFICATION_TIME);
    TakeShutdownStep();  // in any case: a slow reader makes room long before the descriptor shows as writable
    if (SSL_want_write(m_ssl.get()))
        throw BasicException("close notification timed out");
}

/// Sends what is to be sent; after that, waits for the peer's notification. @return whether both ends have announced the end
bool SSLConnection::TakeShutdownStep() {
    OpenSSLErrors::Clear();
    const int result = SSL_shutdown(m_ssl.get());
    if (result < 0)
        Outcome(result, "close notification failed");
    return result == 1;
}

/// @return whether the close notification has gone out (OpenSSL says "sent" of one that still waits for room, too)
bool SSLConnection::HasAnnouncedEnd() const {
    return (SSL_get_shutdown(m_ssl.get()) & SSL_SENT_SHUTDOWN) != 0 && !SSL_want_write(m_ssl.get());
}

void SSLConnection::SetShutdownState(int state) { SSL_set_shutdown(m_ssl.get(), state); }

void SSLConnection::Trust(const X509Store& store) {
    OpenSSLErrors::Require(static_cast<int>(SSL_set1_verify_cert_store(m_ssl.get(), store.Get())),
                           "unable to set trusted certificates");
    OpenSSLErrors::Require(static_cast<int>(SSL_set1_chain_cert_store(m_ssl.get(), store.Get())),
                           "unable to set trusted certificates");
    SSL_clear_mode(m_ssl.get(), SSL_MODE_NO_AUTO_CHAIN);  // issuers of this end's certificate are sent along
}

void SSLConnection::DemandHost(const std::string& host) {
    X509_VERIFY_PARAM* const param = SSL_get0_param(m_ssl.get());
    if (X509_VERIFY_PARAM_set1_ip_asc(param, host.c_str()) != 1)
        OpenSSLErrors::Require(X509_VERIFY_PARAM_set1_host(param, host.c_str(), host.size()), "unable to demand host");
    OpenSSLErrors::Clear();
}

}  // namespace kstr::Crypto
