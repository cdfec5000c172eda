#pragma once

#include <atomic>

#include "Base/RkCriticalSection.h"
#include "Base/RkDevice.h"
#include "Base/RkTimePeriod.h"
#include "Base/RkTypes.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/QorNetworkExport.h"

/// The base of all sockets: an IPv4 socket as a byte device. It owns the handle, its mode, its options and its addresses;
/// derived classes add connecting, transfer and Reset. The virtual operations stand in slot order.
///
/// The destructor does not close the handle: owners call Close first, or hand the handle on.
///
/// Opening, binding and changing the mode throw an RkNetworkException whose message ends with errno; closing, shutting down
/// and setting options report by number; reads and writes return a count, 0 for the end or a time-out, -1 for an error.
///
/// For one thread at a time, except Wake: whoever runs on a socket alone closes it, any other thread only wakes it, since
/// the number may belong to somebody else the moment it is closed.
class QOR_NETWORK_EXPORT RkSocket : public RkDevice {
public:
    /// Option numbers of level SOL_SOCKET, passed to the system as they are.
    enum RkBoolSocketOptions {
        DEBUG_SOCK_OPT = 1,
        REUSEADDR_SOCK_OPT = 2,
        DONTROUTE_SOCK_OPT = 5,
        BROADCAST_SOCK_OPT = 6,
        KEEPALIVE_SOCK_OPT = 9,
        OOBINLINE_SOCK_OPT = 10
    };

    RkSocket();
    RkSocket(const RkSocket&) = delete;
    RkSocket& operator=(const RkSocket&) = delete;
    ~RkSocket() override;

    ssize_t Read(char* buf, size_t len) override = 0;
    ssize_t Write(const char* buf, size_t len) override = 0;
    bool Flush() override = 0;

    /// Closes an open socket: CloseSocket, then SetHandle(-1). Nothing on a closed one.
    void Close() override;

    /// The address at this end; 0.0.0.0 port 0 where there is none.
    virtual RkInetAddress GetLocalAddress();

    /// The address at the other end; 0.0.0.0 port 0 where there is none.
    virtual RkInetAddress GetRemoteAddress();

    /// @param how  SHUT_RD, SHUT_WR or SHUT_RDWR
    virtual RkErrorCode Shutdown(int how);

    /// Reads what comes within `timeout` (zero: without limit).
    /// @return as Read; 0 also after the time-out and when the wait failed; -1 at once on a closed socket
    virtual ssize_t Read(char* buf, size_t len, const RkTimePeriod& timeout);

    /// Stops sending, so that the peer sees the end; receiving goes on. Success on a closed socket.
    virtual RkErrorCode ShutdownSocket();

    /// Closes the handle and keeps its number; Close and CloseForce call it under the lock of Wake.
    virtual RkErrorCode CloseSocket();

    /// Closes what is open and opens a fresh handle.
    virtual void Reset() = 0;

    /// Takes a handle over (-1: none). Neither closes the old one nor looks at the new one's mode.
    virtual void SetHandle(SOCKET sock);

    /// A closed socket is opened (Reset) first.
    virtual void SetNonBlockingMode(bool on);

    /// @return the mode last set here; the system is not asked
    virtual bool GetNonBlockingMode();

    bool IsOpen() const { return m_sock != -1; }

    /// @return the descriptor, which stays this socket's; -1 when closed
    SOCKET GetHandle() const { return m_sock; }

    /// @return 0, or -1 with errno set; never throws
    int SetBoolSocketOption(RkBoolSocketOptions opt, bool on);

    /// @return whether the system's value is exactly 1; false also when it cannot be had
    bool GetBoolSocketOption(RkBoolSocketOptions opt);

    /// An option of level SOL_SOCKET; T is int. @return 0, or -1 with errno set
    template <class T>
    int SetSocketOption(int opt, const T& value);
    template <class T>
    int GetSocketOption(int opt, T& value);

    /// Binds to an IPv4 address; port 0 lets the system choose. Throws "Bind failed: " + errno.
    void Bind(const RkInetAddress& addr);

    /// Opens a fresh IPv4 handle in blocking mode, close-on-exec. An old handle is not closed.
    /// @param type       SOCK_STREAM or SOCK_DGRAM
    /// @param reuseAddr  SO_REUSEADDR is written either way
    /// Throws "::socket() failed " or "::setsockopt() failed " + errno.
    void Open(int type, int protocol, bool reuseAddr);

    /// Ends both directions of an open socket, which wakes whoever waits on it: its reader sees the end of the stream, a
    /// listener a failing accept. The one call that any thread may make at any time; never throws.
    void Wake();

protected:
    std::atomic<SOCKET> m_sock;  ///< -1 is closed; Wake of other threads reads it
    bool m_isNonBlocking;        ///< as the last Open or SetNonBlockingMode left it; closing keeps it

    /// Held around CloseSocket and SetHandle(-1), so that Wake never meets a number that was given back. Taken last of all
    /// locks and only for a few system calls; re-entrant, because those two are hooks.
    RkCriticalSection m_closeLock;
};

template <>
QOR_NETWORK_EXPORT int RkSocket::SetSocketOption<int>(int opt, const int& value);
template <>
QOR_NETWORK_EXPORT int RkSocket::GetSocketOption<int>(int opt, int& value);
