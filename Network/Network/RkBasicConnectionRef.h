#pragma once

#include "Base/RkTimePeriod.h"
#include "Network/Network/RkBasicConnectionPool.h"
#include "Network/QorNetworkExport.h"

/// A lease of a pooled connection for a scope. For one thread at a time; the pool must outlive it.
class QOR_NETWORK_EXPORT RkBasicConnectionRef {
public:
    /// Leases with pool.Get(timeout); what that throws comes through, and there is no lease then.
    RkBasicConnectionRef(RkBasicConnectionPool& pool, RkTimePeriod& timeout);
    RkBasicConnectionRef(const RkBasicConnectionRef&) = delete;
    RkBasicConnectionRef& operator=(const RkBasicConnectionRef&) = delete;

    /// Gives the connection back for reuse, unless Done did so.
    virtual ~RkBasicConnectionRef();

    /// Gives the connection back now; a second call does nothing.
    /// @param kill  true: it is closed and deleted instead of kept
    void Done(bool kill);

    /// The leased connection, still the pool's; null after Done.
    RkBasicConnection* Get() const { return m_connection; }
    RkBasicConnection* operator->() const { return m_connection; }

private:
    RkBasicConnectionPool& m_connPool;
    RkBasicConnection* m_connection;
    bool m_kill = false;  ///< what the destructor tells the pool
};
