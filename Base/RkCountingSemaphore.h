#pragma once

#include <condition_variable>
#include <mutex>

#include "Base/QorBaseExport.h"
#include "Base/RkTimePeriod.h"

/// A count of units that threads take and give back. Safe from any thread.
class QOR_BASE_EXPORT RkCountingSemaphore {
public:
    explicit RkCountingSemaphore(unsigned count);

    /// Takes one unit, waiting for at most `timeout` (zero or less only looks).
    /// @return false when none came free in time
    bool Wait(const RkTimePeriod& timeout);

    /// Gives one unit back.
    void Post();

private:
    std::mutex m_lock;  ///< guards m_count
    std::condition_variable m_free;
    unsigned m_count;
};
