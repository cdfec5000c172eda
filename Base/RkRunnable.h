#pragma once

#include "Base/QorBaseExport.h"

/// Something that a thread runs. The virtual operations stand in slot order.
class QOR_BASE_EXPORT RkRunnable {
public:
    virtual ~RkRunnable();

    /// The work. What leaves it as an exception ends this run only: the thread or pool logs and swallows it.
    virtual void Run() = 0;

    /// Asks a running Run to end soon; called from another thread, and possibly before or after Run.
    virtual void Stop() = 0;

    /// Keeps one pointer for the caller, who owns what it points to. No lock: for one thread at a time.
    virtual void SetLocalData(void* data);
    virtual void* GetLocalData();  ///< what SetLocalData stored; null at first

private:
    void* m_dat = nullptr;  ///< the caller's; never looked at here
};
