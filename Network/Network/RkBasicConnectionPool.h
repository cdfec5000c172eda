#pragma once

#include <deque>

#include "Base/RkCountingSemaphore.h"
#include "Base/RkCriticalSection.h"
#include "Base/RkTimePeriod.h"
#include "Base/RkTypes.h"
#include "Network/Network/RkBasicConnection.h"
#include "Network/QorNetworkExport.h"

/// A bounded pool of client connections. Hands out at most its maximum at a time, the one returned longest ago first, and
/// makes new ones on demand. Owns the idle connections; a leased one belongs to its holder until Done.
///
/// All operations are safe from any thread. CreateConnection and the Close of a connection run under the pool's lock. No
/// exception leaves the lock held.
class QOR_NETWORK_EXPORT RkBasicConnectionPool {
public:
    /// @param minConnections  clean-up never brings the number of live connections below this
    /// @param maxConnections  most connections handed out at a time
    RkBasicConnectionPool(unsigned int minConnections, unsigned int maxConnections);
    RkBasicConnectionPool(const RkBasicConnectionPool&) = delete;
    RkBasicConnectionPool& operator=(const RkBasicConnectionPool&) = delete;

    /// Kills the idle connections. Leased ones must have come back by then.
    virtual ~RkBasicConnectionPool();

    /// Makes a connection, not yet connected, that the pool owns. A subclass returns its own kind; null or an exception
    /// fails the Get that asked.
    virtual RkBasicConnection* CreateConnection();

    /// Leases a connection; whoever leases it connects it (a used one is connected already).
    /// @param timeout  how long to wait while all are out; zero only looks
    /// Throws RkBasicConnectionException when none came free in time, or none could be made: the place that the latter had
    /// taken stays taken (kept; test NullAFailedFactoryAndClearingGiveNoPlaceBack).
    RkBasicConnection* Get(const RkTimePeriod& timeout);

    /// Ends a lease.
    /// @param connection  what Get gave. Null gives no place back (kept; test NullAFailedFactoryAndClearingGiveNoPlaceBack).
    /// @param kill        true: close and delete it instead of keeping it; an exception of its Close comes through then,
    ///                    after it has been deleted and its place given back
    void Done(RkBasicConnection* connection, bool kill);

    /// Kills connections that were idle for longer than the clean-up time, the longest idle first, while more than the
    /// minimum are alive. The pool never runs this by itself: its owner does, say once a minute.
    void CleanUp();

    /// Kills every idle connection.
    void ClearPool();

    /// Closes and deletes a leased connection and gives its place back; null does nothing. Throws as its Close, after that.
    void Kill(RkBasicConnection* connection);

    /// @param time  idle time after which CleanUp kills; one minute at first
    void SetCleanUpTime(const RkTimePeriod& time);

private:
    RkBasicConnection* Take();
    RkBasicConnection* PopBack();
    void Destroy(RkBasicConnection* connection);

    std::deque<RkBasicConnection*> m_available;  ///< idle ones; returned at the front, taken from the back
    RkUInt32 m_minConnections;
    RkUInt32 m_currentConnections = 0;  ///< handed out or idle
    RkTimePeriod m_cleanupTime;
    RkCriticalSection m_queueLock;        ///< guards all of the above
    RkCountingSemaphore m_connectionSem;  ///< places that may still be handed out; awaited before the lock is taken
};
