#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "Base/QorBaseExport.h"
#include "Base/RkTimePeriod.h"

/// A count of units that threads take and give back. Safe from any thread. Takes a lock only to wait and to wake.
class QOR_BASE_EXPORT RkCountingSemaphore {
public:
    /// @param count  units that are free at first
    explicit RkCountingSemaphore(unsigned count);

    /// Takes one unit, waiting for at most `timeout` (zero or less only looks).
    /// @return false when none came free in time
    bool Wait(const RkTimePeriod& timeout);

    /// Gives one unit back.
    void Post();

private:
    bool TryTake();
    bool GiveToNobody();
    bool GiveToWaiter();
    bool TryGive(std::uint64_t& state);

    std::atomic<std::uint64_t> m_state;  ///< units in the lower half, waiting threads in the upper; those under m_lock
    std::mutex m_lock;                   ///< of those who wait and wake
    std::condition_variable m_free;
};
