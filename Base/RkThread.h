#pragma once

#include <memory>

#include "Base/RkOS.h"
#include "Base/RkRunnable.h"
#include "Base/RkThreadGroup.h"

/// A thread that is its own work (a subclass overrides Run) or runs another runnable. Started once.
///
/// What leaves Run as an exception is logged at ERROR and swallowed: it ends the thread, never the process. The destructor
/// of a running thread waits for it (unless the thread destroys itself); a subclass whose Run uses its own members calls
/// Shutdown first in its own destructor.
class QOR_BASE_EXPORT RkThread : public RkRunnable {
public:
    /// @param group                    must outlive the thread
    /// @param destroySelfWhenFinished  true: deletes itself after Run; allocate it with new and do not touch it afterwards
    RkThread(RkThreadGroup& group, bool destroySelfWhenFinished);

    /// A thread of the default group that runs `work`, which the caller owns and keeps alive until the thread has ended.
    explicit RkThread(RkRunnable& work);

    RkThread(const RkThread&) = delete;
    RkThread& operator=(const RkThread&) = delete;

    ~RkThread() override;
    void Run() override;   ///< runs the borrowed runnable; nothing when there is none
    void Stop() override;  ///< hands on to the borrowed runnable; nothing when there is none

    /// Starts the thread. Throws an RkException when the system has no thread to give; a second call does nothing.
    virtual void Start();

    /// Changes what the constructor was told. Read when Run is over: a later change does nothing.
    virtual void SetDestroySelfWhenFinished(bool destroy);
    virtual bool GetDestroySelfWhenFinished();
    virtual bool GetRunning();  ///< started and not yet ended

    /// The virtual Stop, then waits for the end; only the first call does anything. From the thread itself it only stops.
    void Shutdown();

    /// @return the id of the running thread; the id of the caller's own thread never equals that of a thread not started
    RkOS::Thread_t GetThreadId() const;

    /// Whether the caller is this thread.
    bool IsCurrent() const;

    /// Waits for `thread` to end, at once if it never started or is over, or is the caller. Any number of threads may wait.
    static void WaitForThread(RkThread* thread);

    /// Holds up the calling thread for at least so long; nothing but the time wakes it.
    static void Sleep(unsigned milliseconds);

private:
    friend class RkThreadPool;

    struct State;  ///< what the system thread and its waiters share; outlives this object if need be
    class WaitMark;
    class Ending;

    static void Entry(RkThread* self, std::shared_ptr<State> state);

    /// As WaitForThread, but also over as soon as `thread` itself waits for a thread.
    static void WaitUnlessItWaits(RkThread& thread);

    RkThreadGroup& m_group;
    RkRunnable* m_work;  ///< borrowed; null: a subclass is its own work
    const std::shared_ptr<State> m_state;
};
