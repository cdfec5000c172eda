#pragma once

#include <mutex>

#include "Base/QorBaseExport.h"

/// A lock that its holder may take again; it is free when it was given back as often as it was taken.
class QOR_BASE_EXPORT RkCriticalSection {
public:
    RkCriticalSection() = default;
    RkCriticalSection(const RkCriticalSection&) = delete;
    RkCriticalSection& operator=(const RkCriticalSection&) = delete;

    /// Waits without limit for another holder. RkSemLock does both for a scope.
    void Lock() { m_mutex.lock(); }
    void Unlock() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};
