#include "Base/RkCountingSemaphore.h"

#include <limits>

#include "Base/RkDeadline.h"

namespace {

constexpr std::uint64_t ONE_WAITER = std::uint64_t{1} << 32;

unsigned Units(std::uint64_t state) { return static_cast<unsigned>(state); }

bool HasWaiters(std::uint64_t state) { return state >= ONE_WAITER; }

}  // namespace

RkCountingSemaphore::RkCountingSemaphore(unsigned count) : m_state(count) {}

bool RkCountingSemaphore::Wait(const RkTimePeriod& timeout) {
    if (TryTake())
        return true;
    if (timeout <= RkTimePeriod())
        return false;
    std::unique_lock guard(m_lock);
    m_state += ONE_WAITER;
    const bool taken = m_free.wait_until(guard, DeadlineAfter(timeout), [this] { return TryTake(); });
    m_state -= ONE_WAITER;
    return taken;
}

bool RkCountingSemaphore::TryTake() {
    std::uint64_t state = m_state;
    while (Units(state) > 0)
        if (m_state.compare_exchange_weak(state, state - 1))
            return true;
    return false;
}

// Touches nothing once the unit can be taken: whoever takes the last one may destroy the semaphore. Where somebody waits,
// it is given under the lock, which he needs to leave; if he has left before, all begins anew without it.
void RkCountingSemaphore::Post() {
    while (!GiveToNobody() && !GiveToWaiter()) {}
}

/// @return false when somebody waits; nothing has been given then
bool RkCountingSemaphore::GiveToNobody() {
    std::uint64_t state = m_state;
    while (!HasWaiters(state))
        if (TryGive(state))
            return true;
    return false;
}

/// @return false when nobody waits any more; nothing has been given then
bool RkCountingSemaphore::GiveToWaiter() {
    const std::lock_guard guard(m_lock);
    std::uint64_t state = m_state;
    if (!HasWaiters(state))
        return false;
    while (!TryGive(state)) {}
    m_free.notify_one();
    return true;
}

/// @param[in,out] state  what the caller last saw; renewed when another thread was faster
/// @return whether the unit has been given; a full count stays full
bool RkCountingSemaphore::TryGive(std::uint64_t& state) {
    return Units(state) == std::numeric_limits<unsigned>::max() || m_state.compare_exchange_weak(state, state + 1);
}
