#pragma once

#include <condition_variable>
#include <mutex>

#include "Base/QorBaseExport.h"
#include "Base/RkTimePeriod.h"

/// Something that happens once: posted by one thread, awaited by any number. Stays posted. Safe from any thread.
class QOR_BASE_EXPORT RkEvent {
public:
    /// Ends all waits, those to come too. What was written before it is seen by who waited.
    void Post();

    /// @param milliseconds  0 only looks
    /// @return whether the event was posted by then
    bool wait(unsigned milliseconds);

    /// @param timeout  zero or less only looks
    bool Wait(const RkTimePeriod& timeout);

private:
    std::mutex m_lock;  ///< guards m_posted
    std::condition_variable m_changed;
    bool m_posted = false;
};
