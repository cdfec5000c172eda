#pragma once

#include <memory>
#include <string>

#include "Base/BasicException.h"
#include "Crypto/EVPKey.h"
#include "Crypto/SSLConnection.h"
#include "Crypto/SSLContext.h"
#include "Crypto/StackOf_X509Cert.h"
#include "Crypto/X509Cert.h"
#include "Crypto/X509StoreContext.h"
#include "Diag/RkLogger.h"
#include "Network/Network/RkTcpSocket.h"

/// A TCP socket that speaks TLS 1.2, as client (Connect) or server (Accept into a fresh RkSSLSocket, then AcceptSocket on
/// that one).
///
/// What it does NOT check: with credentials from files it authenticates nobody, on either side. With credential objects the
/// peer must present a certificate and VerifyPeerCert decides alone: the certificate must be signed by one of the trusted
/// CAs; its host name, expiry, purpose and any chain above it are not looked at. A subclass can do better
/// (examples/strict_tls_client.cpp).
///
/// The ciphers are ECDSA's of TLS 1.2 and AES256-SHA256, so an RSA certificate leaves that one suite, which browsers refuse.
///
/// Making a socket loads its credentials, cheaply where an equal socket did before (see SSLContext). Certificates, CAs and
/// key that are handed in as objects are borrowed and must outlive the socket. As every socket: the owner calls Close or
/// CloseForce before destroying it. Closing does not tell the peer over TLS that the stream ends; Shutdown does.
///
/// For one thread at a time, except Wake, which also ends a handshake. Failures throw an RkNetworkException whose message
/// ends with a NUL; reads and writes return -1 after logging.
class QOR_NETWORK_EXPORT RkSSLSocket : public RkTcpSocket {
public:
    /// Credentials from "./key.pem" and "./cert.pem". This and the other constructors throw as Init.
    RkSSLSocket();

    /// Credentials as objects, all borrowed. A null among them counts as no credentials.
    RkSSLSocket(kstr::Crypto::X509Cert* cert, kstr::Crypto::StackOf_X509Cert* caCerts, kstr::Crypto::EVPKey* key);

    /// As above. @param addr, flag  as in RkTcpSocket's constructor
    RkSSLSocket(kstr::Crypto::X509Cert* cert, kstr::Crypto::StackOf_X509Cert* caCerts, kstr::Crypto::EVPKey* key,
                const RkInetAddress& addr, bool flag);

    /// Credentials from PEM files; the key's path comes first.
    /// @param init  false only checks that the files load and match: nothing is thrown, ErrMsg() tells, and the socket
    ///              cannot connect or accept
    RkSSLSocket(const std::string& keyFile, const std::string& certFile, RkBool init);

    /// Has no credentials and therefore always throws (kept; test TheAddressAloneIsNotEnough).
    RkSSLSocket(const RkInetAddress& addr, bool flag);

    /// Takes handle, context, session, credentials and paths over. The source keeps nothing but the handle's number, with
    /// which it must not be used or closed any more.
    RkSSLSocket(const RkSSLSocket& source);

    /// As the copy constructor. What this socket held before is not released: callers assign to sockets that hold nothing
    /// (kept; test AssignmentLosesWhatTheTargetHeld).
    RkSSLSocket& operator=(const RkSSLSocket& source);

    /// Releases session and context without telling the peer; does not close the handle.
    ~RkSSLSocket() override;

    /// One TLS read: what one record holds. Waits as long as it takes.
    /// @return bytes; 0 at the end that the peer announced, and when a time-out set on the socket passed; -1 with errno
    ///         EPROTO on an error, which a connection that breaks off without announcement is. Throws before Connect or
    ///         AcceptSocket.
    ssize_t Read(char* buf, size_t len) override;

    /// One TLS write of all bytes. @return as Read
    ssize_t Write(const char* buf, size_t len) override;

    /// Sends the close notification if there is a session, then shuts the socket down. Where the peer leaves no room for it,
    /// the notification waits for two seconds at most, and is then given up with a line in the log. A non-blocking socket
    /// does not wait, and gives it up without a word.
    RkErrorCode Shutdown(int how) override;

    /// As in RkSocket, but for the thread that runs on the socket. Wake ends the notification's wait, so no lock that Wake
    /// needs is held here.
    RkErrorCode ShutdownSocket() override;

    /// As Read(buf, len), but each wait for the peer takes at most `timeout` (zero: without limit). There is no limit on
    /// several waits together. The blocking mode is as before.
    /// @return bytes, or 0 at the end that the peer announced; -1 after the time-out (errno ETIMEDOUT), on an error
    ///         and without a session (EPROTO)
    ssize_t Read(char* buf, size_t len, const RkTimePeriod& timeout) override;

    /// As Write(buf, len), with the time-out as in the timed Read. After -1 a part may have gone out.
    ssize_t Write(const char* buf, size_t len, const RkTimePeriod& timeout) override;

    /// Connects and runs the client's handshake. Throws as RkTcpSocket::Connect, or "unable to " + what failed.
    void Connect(const RkInetAddress& addr) override;

    /// @param timeout  limits the TCP connection alone; the handshake waits as long as it takes
    void Connect(const RkInetAddress& addr, const RkTimePeriod& timeout) override;

    /// As in RkTcpSocket. The handshake is AcceptSocket's, on `client`.
    void Accept(RkTcpSocket& client) override;
    bool Accept(RkTcpSocket& client, const RkTimePeriod& timeout) override;

    /// Runs the server's handshake on an accepted socket. Each of its receives and sends may take 15 seconds; Wake ends it
    /// at once. The socket has no time-outs afterwards. Throws "unable to " + what failed.
    void AcceptSocket() override;

    /// Uninit, then closes by resetting the connection.
    void CloseForce() override;

    /// Builds the context and loads the credentials; called by the constructors. Throws when it cannot be made, or the
    /// credentials are missing, do not load or do not match.
    void Init();

    /// Releases session and context without telling the peer. Borrowed credentials are untouched.
    void Uninit();

    /// Loads the credential objects into the context. @return false, after logging, if that fails
    bool setCertificateAndKey();

    /// Checks that the two files load and match, aside from this socket's context. Never throws; ErrMsg() tells.
    void VerifyCertAndKey();

    /// Decides about a peer's certificate in object mode. Logs what is wrong with it.
    /// @return 1 if one of the trusted CAs has signed it, else 0. A certificate out of its time is logged and accepted.
    int VerifyPeerCert(kstr::Crypto::X509Cert& peer);

    /// Keeps a text for ErrMsg and logs it at LV_ERROR.
    void ErrSaveAndSecurityLog(const std::string& msg);

    /// Sets the time-outs of receives and sends on a descriptor (0: none). @return false, after logging, if that fails
    bool setSocketTimeout(int fd, int seconds);

    /// @return the text saved last; empty if none was
    const std::string& ErrMsg() const { return m_errMsg; }

protected:
    struct NoCredentials {};

    /// For subclasses that bring credentials of their own, or are clients without any: a context with protocol and ciphers
    /// alone.
    explicit RkSSLSocket(NoCredentials);

    // The five pointers move when a socket is copied, hence mutable. Context and session are owned, the rest is borrowed.
    mutable std::unique_ptr<kstr::Crypto::SSLContext> m_pCtx;      ///< null before Init and after Uninit
    mutable std::unique_ptr<kstr::Crypto::SSLConnection> m_pSSL;   ///< made by Connect and AcceptSocket
    mutable kstr::Crypto::X509Cert* m_pCompCert = nullptr;         ///< this end's certificate
    mutable kstr::Crypto::StackOf_X509Cert* m_pCACerts = nullptr;  ///< who may sign the peer's
    mutable kstr::Crypto::EVPKey* m_pKey = nullptr;
    std::string m_keyLoc;
    std::string m_certLoc;
    std::string m_errMsg;
    kstr::diag::RkLogger m_logger;

private:
    bool HasObjects() const;
    void CreateContext();
    void LoadObjects();
    void LoadFiles();
    void TakeFrom(const RkSSLSocket& source);
    void ClientHandshake();
    void CheckAccepted(int status);
    void LogPeerCert(const char* peer);
    void LogCipher();
    kstr::Crypto::SSLContext& Context() const;
    kstr::Crypto::SSLConnection& Session() const;
    ssize_t Fail(const char* complaint, const kstr::BasicException& e);
    bool Await(int status, const RkTimePeriod& timeout, const char* call);
    template <class Step>
    ssize_t TransferTimed(Step step, const RkTimePeriod& timeout, const char* call, const char* complaint);
};

/// Registered in object mode for each certificate that OpenSSL verifies by itself: logs it, with its error if there is one.
/// @return `preverifyOk`: an error stands
QOR_NETWORK_EXPORT int verifyCallback(int preverifyOk, kstr::Crypto::X509StoreContext* ctx);

/// Registered in object mode in place of OpenSSL's verification of the chain.
/// @param arg  the RkSSLSocket whose VerifyPeerCert decides
QOR_NETWORK_EXPORT int certVerifyCallback(kstr::Crypto::X509StoreContext* ctx, void* arg);
