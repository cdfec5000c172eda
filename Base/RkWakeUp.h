#pragma once

#include <semaphore.h>

#include <cerrno>
#include <chrono>

/// Wakes one thread once for each Post, also when that comes first. Costs a system call only where a thread sleeps: one in
/// Wait, one in Post. (A condition variable costs the woken thread another one, for the lock that it takes again.)
class RkWakeUp {
public:
    RkWakeUp() { ::sem_init(&m_posts, 0, 0); }
    ~RkWakeUp() { ::sem_destroy(&m_posts); }
    RkWakeUp(const RkWakeUp&) = delete;
    RkWakeUp& operator=(const RkWakeUp&) = delete;

    void Post() { ::sem_post(&m_posts); }

    void Wait() {
        while (::sem_wait(&m_posts) != 0) {  // a signal came
        }
    }

    /// @return whether there was a Post by then
    bool WaitUntil(std::chrono::steady_clock::time_point deadline) {
        const auto time = deadline.time_since_epoch();
        const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
        const timespec until{seconds.count(), (time - seconds).count()};
        while (::sem_clockwait(&m_posts, CLOCK_MONOTONIC, &until) != 0)
            if (errno == ETIMEDOUT)
                return false;
        return true;
    }

private:
    sem_t m_posts;
};
