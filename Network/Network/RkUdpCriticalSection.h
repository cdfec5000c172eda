#pragma once

#include <sys/types.h>

#include <cstddef>

#include "Base/RkCriticalSection.h"
#include "Network/QorNetworkExport.h"

class RkInetAddress;
class RkUdpSocket;

/// The one lock of the process through which the UDP servers and their connections receive, send and close: at most one of
/// them is at a socket at any time. Held for a single system call that does not wait. Safe from any thread.
class QOR_NETWORK_EXPORT RkUdpCriticalSection : public RkCriticalSection {
public:
    /// The only instance; made on first use.
    static RkUdpCriticalSection& Itself();

    /// RkUdpSocket::ReadFrom under the lock. For sockets on which a datagram waits, as after WaitForRecv: an empty socket
    /// would hold up every server of the process until something comes.
    /// @return as ReadFrom
    ssize_t RecvFrom(RkUdpSocket& socket, RkInetAddress& from, void* buffer, size_t length);

    /// RkUdpSocket::WriteTo under the lock.
    /// @return as WriteTo
    ssize_t SendTo(RkUdpSocket& socket, const RkInetAddress& to, const char* data, size_t length);

    /// Waits, without the lock, until a datagram is there and receives it under the lock.
    /// @param timeout  milliseconds; -1 waits without limit, and so does 0
    /// @return as RecvFrom; 0 after the time-out; -1 when the wait failed
    ssize_t WaitForRecv(RkUdpSocket& socket, RkInetAddress& from, void* buffer, size_t length, int timeout);

    /// Closes the socket under the lock, so that no other thread is about to send on its descriptor.
    void Close(RkUdpSocket& socket);

    /// Ends both directions of the socket under the lock, which wakes whoever waits for its datagrams. Nothing when it is
    /// closed already.
    void Wake(RkUdpSocket& socket);

private:
    RkUdpCriticalSection() = default;
    ~RkUdpCriticalSection() = default;
};
