#pragma once

#include <memory>

#include "Base/RkPooledThreadFactory.h"
#include "Base/RkTimePeriod.h"

/// Runs runnables on a set of threads that grows while work waits and shrinks when it is idle.
///
/// Work is taken in the order of its arrival. It wakes one thread: the most recently idle one, and among the latest few one
/// of the caller's processor first. Threads are added when work has *waited*, not whenever some is handed over, so that a
/// burst of short requests runs on few threads while a thousand silent clients still get theirs, within a few steps of
/// milliseconds. A supervisor thread, asleep while no work waits, sees to that. Where the system or the factory has no thread
/// to give, the pool logs it and tries again while work waits.
///
/// All operations are safe from any thread. The pool is not destroyed by one of its own threads.
class QOR_BASE_EXPORT RkThreadPool {
public:
    /// Room for 1,000 silent clients and a good many busy ones: a silent client holds its thread until its idle time is
    /// over, and a thread that waits costs a few pages.
    static constexpr int DEFAULT_MAX_POOL_SIZE = 1200;

    /// Enough to keep a few processors busy while most threads wait for their peers, as in the middle of TLS handshakes:
    /// with half as many, processors idle long before work has waited so long that threads are added.
    static constexpr int DEFAULT_START_POOL_SIZE = 8;

    /// @param maxSize          most threads at a time; below 1 reads as 1
    /// @param startSize        threads made at once and kept; held to 0..maxSize
    /// @param deleteRunnables  whether the pool deletes a runnable after its Run (or when it is dropped by Stop)
    /// @param poolWaitTime     milliseconds that work may wait, while no thread comes free, before threads are added: one
    ///                         for each runnable that waits, up to twice the threads there are, and again 2 ms later. While
    ///                         threads do come free the work may wait 20 ms more. 0 is the default of 2 ms
    /// @param idle             time after which an idle thread beyond startSize ends; zero or less: never
    /// @param factory          borrowed, may be null; must outlive the pool
    RkThreadPool(int maxSize, int startSize, bool deleteRunnables, int poolWaitTime, const RkTimePeriod& idle,
                 RkPooledThreadFactory* factory);

    /// Stops, and joins what is left.
    ~RkThreadPool();
    RkThreadPool(const RkThreadPool&) = delete;
    RkThreadPool& operator=(const RkThreadPool&) = delete;

    /// Hands work to the pool. After Stop an owned runnable is deleted without running, and another is ignored. Null is
    /// ignored.
    void DoWork(RkRunnable* work);

    /// Calls Stop of every running runnable, drops the queued ones (deleting those it owns) and joins all threads, except
    /// the caller when it is one of them and those that are inside RkThread::WaitForThread. So a server may be stopped by
    /// one of its own connections. A second call joins again what has come free.
    ///
    /// A runnable's Stop is called under that worker's own lock, which also guards its deletion: a Stop must not wait for
    /// its own Run to end.
    void Stop();

    int GetTotal() const;   ///< threads alive
    int GetIdle() const;    ///< threads waiting for work
    int GetQueued() const;  ///< runnables waiting for a thread

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
