#pragma once

#include <mutex>
#include <set>
#include <vector>

#include "Base/QorBaseExport.h"

class RkThread;

/// A set of threads that knows which of its members are alive. Outlives its threads. Safe from any thread.
class QOR_BASE_EXPORT RkThreadGroup {
public:
    RkThreadGroup();
    ~RkThreadGroup();
    RkThreadGroup(const RkThreadGroup&) = delete;
    RkThreadGroup& operator=(const RkThreadGroup&) = delete;

    /// The group of every thread that names no other.
    static RkThreadGroup& Default();

    /// @return the members that were started and have not ended, as of this moment
    std::vector<RkThread*> GetThreads() const;

private:
    friend class RkThread;

    void Enter(RkThread* thread);
    void Leave(RkThread* thread);

    mutable std::mutex m_lock;  ///< guards m_threads
    std::set<RkThread*> m_threads;
};
