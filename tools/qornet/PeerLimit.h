#pragma once

#include <mutex>
#include <unordered_map>

#include "Base/RkTypes.h"

/// Counts the live connections of each peer and says who has enough. All operations are safe from any thread; without a
/// limit they cost nothing.
class PeerLimit {
public:
    /// @param most  connections that one peer may have; 0: any number
    explicit PeerLimit(unsigned most) : m_most(most) {}

    /// @param peer  IPv4 address, any byte order as long as it is always the same
    bool HasRoom(RkUInt32 peer);

    void Enter(RkUInt32 peer);
    void Leave(RkUInt32 peer);  ///< once for each Enter

private:
    const unsigned m_most;
    std::mutex m_lock;
    std::unordered_map<RkUInt32, unsigned> m_counts;  ///< guarded by m_lock; no entry is none
};
