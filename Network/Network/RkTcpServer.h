#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/RkCriticalSection.h"
#include "Base/RkEvent.h"
#include "Base/RkSemLock.h"
#include "Base/RkThread.h"
#include "Base/RkThreadPool.h"
#include "Base/RkTypes.h"
#include "Diag/RkInspectable.h"
#include "Diag/RkLogger.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkPrintSelf.h"
#include "Network/Network/RkTcpSocket.h"
#include "Network/Network/RkTcpSocketFactory.h"
#include "Network/QorNetworkExport.h"

class RkSelect;
class RkTcpConnection;

/// A TCP server: a thread that accepts, and a pool of threads that serve. A subclass says in CreateConnection what a
/// connection is, and may refuse peers in ValidConnection.
///
/// Life: construct; Bind, if the caller wants to know at once whether the port is free, or wants another backlog than 200;
/// Start; Stop; destroy. A server that has ended is not started again. It logs as
/// "Qor.Network.Network.RkTcpServer.Port " plus its port.
///
/// Threads: the server's own one runs Run, CreateConnection and ValidConnection; pool threads run the connections; Stop,
/// PrintSelf, HandleInspection and the accessors may be called from any. Bind and Open are for the time before Start.
///
/// A subclass calls StopAndJoin first in its own destructor: until then the server's thread and the connections call its
/// virtual operations and use its members.
class QOR_NETWORK_EXPORT RkTcpServer : public RkThread, public RkPrintSelf, public kstr::diag::RkInspectable {
public:
    /// The live connections of a server; key and value are the same.
    using conmap_t = std::map<RkTcpConnection*, RkTcpConnection*>;

    /// @param address            where to listen; port 0 lets the system choose (GetLocalAddress tells)
    /// @param connectionTimeout  milliseconds that Stop waits for the end of Run to be announced, besides waiting for the
    ///                           thread; 0 or less: it does not
    /// @param maxPoolSize, startPoolSize, deleteRunnables  as RkThreadPool takes them; false leaves the deletion of
    ///                           connections to the subclass
    /// @param timeout            idle time after which a pool thread beyond `startPoolSize` ends
    /// @param threadfactory      of pool threads; borrowed, may be null
    /// @param sockfactory        makes the socket of each connection; owned by the server from here on, so made with new.
    ///                           Null: plain TCP sockets
    RkTcpServer(const RkInetAddress& address, int connectionTimeout, int maxPoolSize, int startPoolSize,
                bool deleteRunnables, const RkTimePeriod& timeout, RkPooledThreadFactory* threadfactory,
                RkTcpSocketFactory* sockfactory);

    /// The same on the any-address. @param port  in host byte order
    RkTcpServer(unsigned short port, int connectionTimeout, int maxPoolSize, int startPoolSize, bool deleteRunnables,
                const RkTimePeriod& timeout, RkPooledThreadFactory* threadfactory, RkTcpSocketFactory* sockfactory);

    /// A server with the default pool, which deletes its connections and whose further threads end after an idle minute.
    /// @param timeout       as `connectionTimeout` above
    /// @param factory       as `sockfactory` above
    /// @param poolwaittime  milliseconds that a connection may wait before threads are added; 0 is the pool's default
    RkTcpServer(const RkInetAddress& address, int timeout, RkTcpSocketFactory* factory, int poolwaittime);

    /// The same on the any-address, with the pool's default wait time. @param port  in host byte order
    RkTcpServer(unsigned short port, int timeout, RkTcpSocketFactory* factory);

    /// Stops and waits for the thread. Connections that the pool does not own, and that are still in the table, are the
    /// subclass's to delete.
    ~RkTcpServer() override;

    /// Accepts until Stop; then stops the pool and closes the listening socket. Binds first, with a backlog of 200, if Bind
    /// was not called.
    ///
    /// A failure to bind is told on standard error and logged; Stop is then not told of the end, so that it waits its whole
    /// time. After a failed accept (no descriptors left, say) it pauses for a second and goes on; so it does after any
    /// exception of the subclass, and then the new socket is lost, and of the socket factory, and then the client is kept
    /// for the next try.
    void Run() override;

    /// Ends the server: no more connections are accepted, running ones are told to stop, waiting ones are dropped. Waits for
    /// the server's thread, unless it is the caller, and then for the announced end as the constructor was told. May come
    /// from any thread, a connection's own included, and from several at once.
    void Stop() override;

    void HandleInspection(kstr::diag::RkInspector& inspector) override;  ///< reports PrintSelf as "TARNTcpServer"

    /// Level 1 and above print address, state and counters; level 3 also lets each connection print itself, while the table
    /// is locked.
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override;

    /// Takes a connection out of the table; an unknown one is ignored. Neither closes nor deletes it.
    virtual void CloseConnection(RkTcpConnection* connection);

    /// Enters a connection into the table, makes this its server and hands it to the pool, which may have run and deleted it
    /// on return.
    virtual void AddConnection(RkTcpConnection* connection);

    /// Wraps an accepted socket. Called in the server's thread.
    /// @param socket  owned by the subclass from here on, whatever the result
    /// @return a connection made with new; null drops it (and then the subclass has closed and deleted the socket)
    virtual RkTcpConnection* CreateConnection(RkTcpSocket* socket) = 0;

    /// Opens the listening socket, binds it and listens; does nothing when that is done already. Throws an
    /// RkNetworkException.
    /// @param backlog  connections that the system keeps waiting for us
    virtual void Bind(int backlog);

    /// The same on another address than the constructor's.
    virtual void Bind(RkInetAddress& address, int backlog);

    /// @return whether the peer of an accepted socket is welcome. If not, its connection is reset and counted as invalid.
    ///         Called in the server's thread; accepts everybody here.
    virtual bool ValidConnection(RkTcpSocket& socket);

    /// Hands any work to the server's pool.
    virtual void DoWork(RkRunnable* runnable);

    /// Stops the pool: running work is told to stop, waiting work is dropped, threads are joined (see RkThreadPool::Stop).
    virtual void StopThreadPool();

    /// Opens the listening socket if it is not open. @return 0. Throws an RkNetworkException.
    RkErrorCode Open();

    /// Waits until the server's thread listens or has failed to. For a server that was started and binds itself: only then
    /// GetLocalAddress tells the port that the system chose.
    /// @return whether it listens
    bool WaitUntilListening();

    /// @return where the server listens; 0.0.0.0 port 0 while the socket is not open
    RkInetAddress GetLocalAddress() const;

    RkUInt64 GetAcceptedCount() const;       ///< connections accepted and found welcome so far
    RkUInt64 GetInvalidCount() const;        ///< connections refused by ValidConnection so far
    const char* GetState() const;            ///< what the server's thread does, in words; a constant text
    std::size_t GetConnectionCount() const;  ///< connections in the table: running, or waiting for a pool thread
    int GetTotalThreads() const;             ///< pool threads
    int GetIdleThreads() const;              ///< pool threads that wait for work
    int GetQueuedWork() const;               ///< connections (and other work) that wait for a pool thread

    /// Calls `visit(RkTcpConnection&)` for each connection in the table, which is locked meanwhile: so `visit` reads constants
    /// and atomics or wakes sockets, waits for nothing, and does not destroy the connection.
    template <class Visitor>
    void VisitConnections(const Visitor& visit) const {
        const RkSemLock lock(m_sync);
        for (const auto& entry : m_map)
            visit(*entry.first);
    }

    /// What a stopped server leaves behind, in words for a trace: whether all connections are gone. The server itself
    /// writes it nowhere.
    std::string GetClosingReport() const;

protected:
    /// Calls Stop and waits for the server's thread and the pool's: after it no other thread works with this object. For
    /// destructors, so not for a connection's own thread; only the first call stops.
    void StopAndJoin();

private:
    struct PoolArguments {
        int maxSize;
        int startSize;
        bool deleteRunnables;
        int waitTime;
        RkTimePeriod idle;
        RkPooledThreadFactory* factory;
    };

    RkTcpServer(const RkInetAddress& address, int timeout, const PoolArguments& pool,
                std::unique_ptr<RkTcpSocketFactory> factory);

    bool SettleListening();
    bool OpenAndBind();
    bool OpenListener();
    std::optional<std::string> TryToBind();
    void NameLogger();
    void ServeNextClient(RkSelect& listener);
    bool WaitForClient(RkSelect& listener);
    void AcceptClient();
    bool Accept(RkTcpSocket& socket);
    void DropClient();
    void Refuse(RkTcpSocket* socket);
    void Pause();
    void ShutDown();
    void PrintConnections(std::ostream& stream) const;
    void PrintState(std::ostream& stream) const;

    std::atomic<bool> m_shutdown{false};
    mutable RkTcpSocket m_server;      ///< closed by the server's thread only, once that runs
    mutable RkCriticalSection m_sync;  ///< guards m_map
    conmap_t m_map;                    ///< does not own the connections
    RkThreadPool m_pool;
    RkEvent m_event;                           ///< posted when Run has shut everything down
    std::atomic<const char*> m_state{"init"};  ///< a constant text
    const int m_timeout;                       ///< milliseconds
    std::atomic<RkUInt64> m_counter{0};
    std::atomic<RkUInt64> m_invalidCounter{0};
    [[maybe_unused]] char m_errorBuff[1024] = {};  ///< reserved
    std::atomic<bool> m_bound{false};
    const std::unique_ptr<RkTcpSocketFactory> m_factory;
    RkUInt16 m_askedPort;                          ///< host byte order; names the logger when binding failed
    RkTcpSocket::Client m_client;                  ///< taken, still without a socket; for the server's thread
    RkEvent m_settled;                             ///< posted when the server's thread listens, or has failed to
    RkEvent m_stopRequested;                       ///< posted by Stop; ends a pause early
    std::optional<kstr::diag::RkLogger> m_logger;  ///< set by Run; for the server's thread
};
