#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/// A thread that looks after deadlines: it calls a function, which deals with what is due and says when to look again.
class HeadReaper {
public:
    using Clock = std::chrono::steady_clock;

    /// @param look  called by the reaper's thread with the time; returns when the next call is wanted
    explicit HeadReaper(std::function<Clock::time_point(Clock::time_point)> look);

    /// Ends the thread; the function is not called afterwards.
    ~HeadReaper();
    HeadReaper(const HeadReaper&) = delete;
    HeadReaper& operator=(const HeadReaper&) = delete;

private:
    void Run();

    const std::function<Clock::time_point(Clock::time_point)> m_look;
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stop = false;  ///< guarded by m_lock
    std::thread m_thread;
};
