#pragma once

#include <atomic>
#include <map>

#include "Base/RkCriticalSection.h"
#include "Base/RkEvent.h"
#include "Base/RkThread.h"
#include "Base/RkThreadPool.h"
#include "Diag/RkInspectable.h"
#include "Network/Network/RkPrintSelf.h"
#include "Network/Network/RkUdpSocket.h"
#include "Network/QorNetworkExport.h"

class RkSelect;
class RkUdpConnection;

/// A datagram server: a thread that receives, and a pool of threads that answer. A subclass says in CreateConnection what
/// is done with a datagram.
///
/// Construct, Start, Stop from any thread, destroy. The socket is bound by the constructor, so datagrams that come before
/// Start are kept by the system and served. A server that has ended is not started again.
///
/// A subclass calls Stop and RkThread::WaitForThread(this) first in its own destructor: the server's thread calls its
/// CreateConnection until then.
class QOR_NETWORK_EXPORT RkUdpServer : public RkThread, public RkPrintSelf, public kstr::diag::RkInspectable {
public:
    /// Binds to the any-address. Throws an RkNetworkException when the port cannot be bound; so do the other constructors.
    /// @param port     in host byte order; 0 lets the system choose
    /// @param timeout  milliseconds that Stop waits for the receiving thread; 0 or less: it does not wait
    RkUdpServer(unsigned short port, int timeout);
    RkUdpServer(const RkInetAddress& address, int timeout);

    /// @param connectionTimeout  as `timeout` above
    /// @param deleteRunnables    whether the pool deletes connections after their Run; if not, the subclass does
    /// @param timeout            idle time after which a pool thread beyond `startPoolSize` ends
    /// @param factory            of pool threads; borrowed, may be null
    RkUdpServer(unsigned short port, int connectionTimeout, int maxPoolSize, int startPoolSize, bool deleteRunnables,
                const RkTimePeriod& timeout, RkPooledThreadFactory* factory);

    ~RkUdpServer() override;

    /// Receives until Stop, or until the wait for datagrams fails. However it ends, the socket is closed then and Stop is
    /// told.
    void Run() override;

    /// Ends the server: wakes the receiving thread, waits at most `timeout` for it to have closed the socket, and stops the
    /// pool, waiting for running connections. Does not wait for the thread itself (RkThread::WaitForThread does). Any
    /// thread may call it, a connection's included, and more than once.
    void Stop() override;

    void HandleInspection(kstr::diag::RkInspector& inspector) override;  ///< reports PrintSelf as "TARNUdpServer"

    /// Level 1 and above print address and state; level 3 also lets each connection print itself, while the table is locked.
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override;

    /// Makes the object that receives the next datagram. Called in the server's thread; the server owns the result and hands
    /// it to the pool. Null drops the datagram. An RkNetworkException thrown here leaves it to the next call; any other
    /// exception ends the server.
    virtual RkUdpConnection* CreateConnection() = 0;

    /// Takes a connection out of the table; an unknown one is ignored. Neither stops nor deletes it.
    void CloseConnection(RkUdpConnection* connection);

    /// @return where the server listens; 0.0.0.0 port 0 once the socket is closed
    RkInetAddress GetLocalAddress() const;

private:
    /// Closes itself at the end: no thread does so for a server that never ran or whose constructor threw.
    class ServerSocket : public RkUdpSocket {
    public:
        using RkUdpSocket::RkUdpSocket;
        ~ServerSocket() override { Close(); }
    };

    /// The connections in the pool; key and value are the same.
    using conmap_t = std::map<RkUdpConnection*, RkUdpConnection*>;

    void ReceiveUntilStopped();
    int AwaitDatagram(RkSelect& ready);
    void TakeDatagram();
    void DropDatagram();
    void Enter(RkUdpConnection* connection);
    void Finish();
    bool HasConnections() const;

    std::atomic<bool> m_shutdown{false};
    mutable ServerSocket m_socket;     ///< closed by the receiving thread, under the lock of RkUdpCriticalSection
    mutable RkCriticalSection m_sync;  ///< guards m_map
    conmap_t m_map;                    ///< does not own the connections
    RkThreadPool m_pool;
    RkEvent m_event;                           ///< posted when Run has closed the socket
    std::atomic<const char*> m_state{"init"};  ///< a constant text
    const int m_timeout;                       ///< milliseconds
    std::atomic<bool> m_hasRun{false};
};
