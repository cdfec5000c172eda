#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>

#include "Base/RkThread.h"
#include "Base/RkWakeUp.h"

/// Inside a thread pool: a place for one thread at a time, with the loop that the thread runs.
/// Places are used again and last as long as their pool, so that a thread which wakes another never meets freed memory.
class RkPoolWorker : public RkRunnable {
public:
    /// What a worker asks of its pool. Called by the worker's thread.
    class Owner {
    public:
        /// Waits for work.
        /// @return null when the thread shall end
        virtual RkRunnable* NextFor(RkPoolWorker& worker) = 0;

        /// The thread has nothing left to do.
        virtual void Leave(RkPoolWorker& worker) = 0;

        /// Deletes a runnable that the pool owns.
        virtual void Dispose(RkRunnable* work) const = 0;

    protected:
        ~Owner() = default;
    };

    /// @param number  for the name of the thread
    RkPoolWorker(Owner& pool, std::size_t number) : m_pool(pool), m_number(number) {}

    void Run() override;
    void Stop() override;  ///< hands on to what it runs, if anything

    /// Tells the thread that waits in AwaitNews to ask for work.
    void Wake() { m_news.Post(); }

    /// Tells the thread to end, and what it runs to stop. Work that it has not begun by then does not run.
    void End();

    /// Waits for Wake or End.
    void AwaitNews() { m_news.Wait(); }

    /// @return whether either came by then
    bool AwaitNews(std::chrono::steady_clock::time_point deadline) { return m_news.WaitUntil(deadline); }

    // These are the pool's, under its lock.
    std::unique_ptr<RkThread> thread;
    bool isCounted = false;   ///< in the pool's total
    bool isStarting = false;  ///< has not asked for work yet
    bool isWoken = false;     ///< has not asked for work since
    int processor = -1;       ///< where it went idle

private:
    void Execute(RkRunnable* work);
    bool Begin(RkRunnable* work);
    void Finish();
    void StopRunning();

    Owner& m_pool;
    const std::size_t m_number;
    RkWakeUp m_news;
    std::mutex m_lock;                ///< guards all that follows; a runnable's Stop is called under it
    RkRunnable* m_running = nullptr;  ///< null again before it is deleted
    bool m_mustEnd = false;
};
