#include "Base/RkCountingSemaphore.h"

#include <limits>

#include "Base/RkDeadline.h"

RkCountingSemaphore::RkCountingSemaphore(unsigned count) : m_count(count) {}

bool RkCountingSemaphore::Wait(const RkTimePeriod& timeout) {
    std::unique_lock guard(m_lock);
    const auto hasUnit = [this] { return m_count > 0; };
    if (!hasUnit() && (timeout <= RkTimePeriod() || !m_free.wait_until(guard, DeadlineAfter(timeout), hasUnit)))
        return false;
    --m_count;
    return true;
}

void RkCountingSemaphore::Post() {
    const std::lock_guard guard(m_lock);
    if (m_count < std::numeric_limits<unsigned>::max())
        ++m_count;
    m_free.notify_one();
}
