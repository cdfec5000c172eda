#pragma once

#include <sys/select.h>

#include <cstddef>

#include "Base/RkTypes.h"
#include "Network/QorNetworkExport.h"

/// One descriptor set of RkMaxFdSetSize::SetSize bytes, owned. For one thread at a time.
///
/// Memory that was never touched costs nothing, however high the descriptor limit is. FD_SET and FD_ISSET abort above
/// descriptor 1,023 in hardened builds; SetBit and HasBit do not. They do not check the handle: it must be below
/// RkMaxFdSetSize::MaxFD. If the memory cannot be had the pointer is null; nobody checks it again.
class QOR_NETWORK_EXPORT RkFdSet {
public:
    RkFdSet();
    ~RkFdSet();
    RkFdSet(const RkFdSet&) = delete;
    RkFdSet& operator=(const RkFdSet&) = delete;

    /// Empties the set.
    void clear();

    /// Empties the set for handles below `count`; leaves the others.
    void clear(int count);

    void SetBit(SOCKET sock);
    bool HasBit(SOCKET sock) const;

    fd_set* get() { return m_fdset; }
    fd_set* operator&() { return m_fdset; }
    operator fd_set&() { return *m_fdset; }

private:
    fd_set* m_fdset;
};
