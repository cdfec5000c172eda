#pragma once

#include "Base/RkThread.h"

/// Lets a caller give a pool threads of its own class.
class QOR_BASE_EXPORT RkPooledThreadFactory {
public:
    virtual ~RkPooledThreadFactory();

    /// @param loop  the pool's work loop, owned by the pool, to be run by the new thread's Run
    /// @return a thread made with new and not started, which the pool owns; null or an exception: the pool goes on without
    virtual RkThread* CreateThread(RkRunnable* loop);
};
