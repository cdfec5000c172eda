#include "HeadReaper.h"

#include <utility>

HeadReaper::HeadReaper(std::function<Clock::time_point(Clock::time_point)> look)
    : m_look(std::move(look)), m_thread([this] { Run(); }) {}

HeadReaper::~HeadReaper() {
    {
        const std::scoped_lock lock(m_lock);
        m_stop = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void HeadReaper::Run() {
    std::unique_lock lock(m_lock);
    while (!m_stop) {
        lock.unlock();
        const Clock::time_point next = m_look(Clock::now());
        lock.lock();
        m_wake.wait_until(lock, next, [this] { return m_stop; });
    }
}
