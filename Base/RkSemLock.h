#pragma once

#include "Base/RkCriticalSection.h"

/// Holds a critical section for a scope.
class RkSemLock {
public:
    explicit RkSemLock(RkCriticalSection& section) : m_section(section) { m_section.Lock(); }
    ~RkSemLock() { m_section.Unlock(); }
    RkSemLock(const RkSemLock&) = delete;
    RkSemLock& operator=(const RkSemLock&) = delete;

private:
    RkCriticalSection& m_section;
};
