#pragma once

#include <sys/select.h>

#include <memory>

#include "Base/RkTypes.h"
#include "Network/QorNetworkExport.h"

/// One descriptor set of RkMaxFdSetSize::SetSize bytes, owned. For one thread at a time.
///
/// The set starts in the object itself, with room for the handles below 1,024, and takes memory of its own when a higher one
/// comes or the system's type is asked for; pages that were never touched cost nothing then. So making, clearing and
/// dropping one costs the same whatever the descriptor limit is. If the memory cannot be had the pointer is null; nobody
/// checks it again.
///
/// FD_SET and FD_ISSET abort above descriptor 1,023 in hardened builds; SetBit and HasBit do not. They do not check the
/// handle: it must be below RkMaxFdSetSize::MaxFD.
class QOR_NETWORK_EXPORT RkFdSet {
public:
    RkFdSet();
    ~RkFdSet();
    RkFdSet(const RkFdSet&) = delete;
    RkFdSet& operator=(const RkFdSet&) = delete;

    /// Empties the set.
    void clear();

    /// Puts a handle into the set.
    /// @param sock  0 to RkMaxFdSetSize::MaxFD - 1; of 1,024 and above the set first takes memory of its own
    void SetBit(SOCKET sock);

    /// @return whether the handle is in the set; after a wait, whether it is ready
    bool HasBit(SOCKET sock) const;

    /// The whole set, which stays where it is from now on.
    fd_set* get() { return Whole(); }
    fd_set* operator&() { return Whole(); }
    operator fd_set&() { return *Whole(); }

private:
    friend class RkSelect;

    /// @return the set, with room for the handles below `count` and empty there
    fd_set* Emptied(int count);

    bool IsSmall() const { return m_fdset == std::addressof(m_small); }
    fd_set* Whole();

    fd_set* m_fdset;
    fd_set m_small;  ///< what `m_fdset` points to at first
};
