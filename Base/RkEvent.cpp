#include "Base/RkEvent.h"

#include "Base/RkDeadline.h"

// Notified under the lock: a waiter may destroy the event as soon as it sees it posted.
void RkEvent::Post() {
    const std::lock_guard guard(m_lock);
    m_posted = true;
    m_changed.notify_all();
}

bool RkEvent::wait(unsigned milliseconds) {
    return Wait(RkTimePeriod::FromMicroSeconds(std::int64_t{milliseconds} * 1000));
}

bool RkEvent::Wait(const RkTimePeriod& timeout) {
    std::unique_lock guard(m_lock);
    if (m_posted || timeout <= RkTimePeriod())
        return m_posted;
    return m_changed.wait_until(guard, DeadlineAfter(timeout), [this] { return m_posted; });
}
