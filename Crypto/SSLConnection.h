#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "Crypto/OpenSSLTypes.h"
#include "Crypto/QorCryptoExport.h"
#include "Crypto/X509Cert.h"

namespace kstr::Crypto {

class PeerVerification;
class X509Store;

/// A TLS session over a descriptor that it does not own. Made by SSLContext::CreateConnection. For one thread at a time;
/// a handshake or read that waits on a blocking descriptor is ended by a shutdown of the descriptor from elsewhere.
///
/// Writing to a peer that is gone raises no signal. Nothing is read ahead: what has arrived and was not read is seen by a
/// wait on the descriptor, except the rest of a record of which Read has returned a part.
/// A stream that ends without the peer's close notification is an error, since anyone on the way can cut it there.
///
/// What fails throws BasicException with OpenSSL's whole error queue in the text and leaves the queue empty.
class QOR_CRYPTO_EXPORT SSLConnection {
public:
    /// What became of an operation.
    enum Status {
        DONE = 0,
        WAIT_READABLE = 1,  ///< to be repeated with the same arguments once the descriptor is readable
        WAIT_WRITABLE = 2,  ///< to be repeated with the same arguments once the descriptor is writable
        FAILED = 3          ///< waits for something that is never used here
    };

    /// @param context  gives it the settings; @param verification  asked about the peer
    SSLConnection(SSL_CTX* context, std::shared_ptr<PeerVerification> verification);
    ~SSLConnection();

    SSLConnection(const SSLConnection&) = delete;
    SSLConnection& operator=(const SSLConnection&) = delete;

    /// Binds the session to a descriptor, which must stay open as long as the session is used.
    void SetFD(int handle);

    void SetConnectState();  ///< this end is the client
    void SetAcceptState();   ///< this end is the server

    /// Runs the client's handshake to its end, waiting for a non-blocking descriptor as long as it takes. Throws when it
    /// fails, also when a time-out of the (blocking) socket passed.
    void Connect();

    /// Runs the server's handshake.
    /// @return DONE, or a wait status if the descriptor is non-blocking. Throws when the handshake fails, also when a
    ///         time-out of the (blocking) socket passed.
    int Accept();

    /// Reads what one record holds, at most `size` bytes.
    /// @param[out] done  the count; 0 with status DONE at the end that the peer announced
    /// @return a Status; a blocking socket gives a wait status when its time-out passed
    int Read(void* data, size_t size, size_t& done);

    /// Writes all of `size` bytes, in records of up to 16 KiB.
    /// @param[out] done  the count
    /// @return a Status. After a wait status a part may have gone out, and only the same data may follow.
    int Write(const void* data, size_t size, size_t& done);

    /// @return the peer's certificate. Throws if it presented none.
    X509Cert GetPeerCert() const;

    /// @return the name of the cipher in use; "(NONE)" before the handshake
    std::string GetCipher() const;

    /// @return for example "TLSv1.2"
    std::string GetProtocol() const;

    /// @return 0, or an OpenSSL X.509 verification error (X509_V_ERR_...)
    int GetVerifyResult() const;

    /// @return whether an earlier session was resumed
    bool IsResumed() const;

    /// Sends the close notification, once. There is nothing to notify of before the handshake is over or after the session
    /// failed. Throws when it does not go out: at once after a Write that was left unfinished, whose record it would cut,
    /// and when the peer leaves no room for it on a blocking descriptor for two seconds. On a non-blocking one it is left for
    /// the next call then.
    /// @param[out] done  whether both ends have announced the end
    /// @param wait       whether to read on until the peer's notification comes as well
    void Shutdown(bool& done, bool wait);

    /// @param state  OpenSSL's SSL_SENT_SHUTDOWN (1) and SSL_RECEIVED_SHUTDOWN (2), taken as having happened
    void SetShutdownState(int state);

    /// Makes OpenSSL's verification trust these certificates only. For before the handshake.
    void Trust(const X509Store& store);

    /// Makes OpenSSL's verification refuse a certificate that is not made out to `host`. For before the handshake.
    void DemandHost(const std::string& host);

    /// For calls of OpenSSL; stays owned by this object.
    SSL* Get() const { return m_ssl.get(); }

private:
    int Outcome(int result, const char* what) const;
    std::string WhyNotVerified() const;
    bool HasAnnouncedEnd() const;
    void SendNotification();
    bool TakeShutdownStep();
    bool IsBlocking() const;
    void Await(int status) const;

    std::shared_ptr<PeerVerification> m_verification;  ///< outlives m_ssl, which points to it
    std::shared_ptr<SSL> m_ssl;
    int m_handle = -1;
};

}  // namespace kstr::Crypto
