#pragma once

#include "Network/Network/RkTcpSocket.h"

/// A TCP socket whose plain Connect, Read and Write have time-outs, and whose Read another thread ends with Close.
///
/// A zero period is no limit. Close is, beside Wake, the one call that may come from another thread: it wakes a blocked
/// Read through a private pipe, and that Read returns -1 without touching the descriptor, which may belong to somebody else
/// by then. The pipe lives as long as the object, not as long as the handle: a socket that is opened again reads, times out
/// and is woken like a new one.
class QOR_NETWORK_EXPORT RkTcpTimeoutSocket : public RkTcpSocket {
public:
    /// Each time-out is that of one Connect, Read or Write.
    RkTcpTimeoutSocket(const RkTimePeriod& connectTimeout, const RkTimePeriod& readTimeout,
                       const RkTimePeriod& writeTimeout);

    /// As above. @param inetAddr, reuseAddr  as in RkTcpSocket's constructor
    RkTcpTimeoutSocket(const RkInetAddress& inetAddr, const RkTimePeriod& connectTimeout,
                       const RkTimePeriod& readTimeout, const RkTimePeriod& writeTimeout, bool reuseAddr);
    RkTcpTimeoutSocket(const RkTcpTimeoutSocket&) = delete;

    /// Takes the handle alone, as RkTcpSocket does; pipe and time-outs stay.
    RkTcpTimeoutSocket& operator=(const RkTcpTimeoutSocket& sock);
    using RkTcpSocket::operator=;

    /// Closes the pipe; not the socket handle.
    ~RkTcpTimeoutSocket() override;

    using RkTcpSocket::Connect;
    using RkTcpSocket::Read;
    using RkTcpSocket::Write;
    void Connect(const RkInetAddress& remoteAddr) override;

    /// @return bytes; 0 at the end of the stream and after the time-out; -1 on an error and after a Close
    ssize_t Read(char* buff, size_t bytes) override;
    ssize_t Write(const char* buff, size_t bytes) override;

    /// Wakes a blocked Read and closes.
    void Close() override;

    /// A handle of 0 or above makes the socket as good as new: a Close before it is forgotten.
    void SetHandle(SOCKET sock) override;

    /// Of the next Connect; zero is no limit.
    void SetConnectTimeout(const RkTimePeriod& timeout);

    /// Makes the pipe (close-on-exec, neither end blocks). If that fails the socket works, but cannot be woken.
    void SetupPipe();

    /// Wakes a blocked Read by the byte "1", of which the pipe holds one at most. Only Close makes that Read end; else it
    /// takes the byte out and waits on.
    void SignalPipe();

    /// Closes the pipe: the socket works on, but cannot be woken.
    void TeardownPipe();

protected:
    int m_pipefds[2];  ///< read and write end; -1 when absent; changed by the reading thread only, under m_closeLock
    RkTimePeriod m_connectTimeout;
    RkTimePeriod m_readTimeout;
    RkTimePeriod m_writeTimeout;

private:
    ssize_t WaitAndRead(char* buff, size_t bytes);
    ssize_t ReceiveIfOpen(char* buff, size_t bytes, bool& again);
    void DrainPipe();

    std::atomic<bool> m_closing{false};  ///< set by Close before the signal; written under m_closeLock
    bool m_signalled = false;            ///< whether the pipe holds its byte; guarded by m_closeLock
};
