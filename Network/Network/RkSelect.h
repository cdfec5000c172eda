#pragma once

#include <set>
#include <vector>

#include "Base/RkTimePeriod.h"
#include "Base/RkTypes.h"
#include "Network/Network/RkFdSet.h"
#include "Network/QorNetworkExport.h"

/// Waits until any of a set of handles is readable, writable or exceptional. Watches handles, never closes them. For one
/// thread at a time.
///
/// A wait allocates nothing and costs what the largest watched handle needs, whatever the descriptor limit is. A handle at
/// or above RkMaxFdSetSize::MaxFD in any Add or query ends the process with a message on standard error: better than
/// writing past the end of a set.
class QOR_NETWORK_EXPORT RkSelect {
public:
    using Sock_t = SOCKET;
    using SockSet_t = std::set<Sock_t>;
    using SockVec_t = std::vector<Sock_t>;

    RkSelect();
    virtual ~RkSelect();
    RkSelect(const RkSelect&) = delete;
    RkSelect& operator=(const RkSelect&) = delete;

    /// Watches a handle from now on. Adding it twice is adding it once; -1 is ignored.
    void AddReader(Sock_t sock);
    void AddWriter(Sock_t sock);
    void AddException(Sock_t sock);

    /// No longer watches a handle; nothing if it was not watched. To be called before the handle is closed.
    void RemoveReader(Sock_t sock);
    void RemoveWriter(Sock_t sock);
    void RemoveException(Sock_t sock);

    /// @param timeout     upper bound, to the microsecond
    /// @param waitOnZero  what a zero period means: true waits without limit, false only looks
    /// @return number of ready conditions; 0 after the time-out; -1 with errno set. Never throws.
    int Select(RkTimePeriod timeout, bool waitOnZero);

    /// Whether the last Select found the handle ready. Never for descriptor 0 (kept; test DescriptorZeroIsNeverReady).
    bool Readable(Sock_t sock);
    bool Writable(Sock_t sock);
    bool Exceptional(Sock_t sock);

    /// Replaces the content by the watched handles that the last Select found ready, in ascending order.
    void Readers(SockVec_t& sockets);
    void Writers(SockVec_t& sockets);
    void Exceptions(SockVec_t& sockets);

private:
    static fd_set* Fill(RkFdSet& set, const SockSet_t& handles, int dirty);

    SockSet_t m_readers;
    SockSet_t m_writers;
    SockSet_t m_exceptions;
    RkFdSet m_fdReaders;  ///< what the last Select reported; the next two alike
    RkFdSet m_fdWriters;
    RkFdSet m_fdExceptions;
    int m_count = 0;  ///< handles below it may have bits left from the last Select
};
