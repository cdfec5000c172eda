#include "Base/RkThreadGroup.h"

RkThreadGroup::RkThreadGroup() = default;
RkThreadGroup::~RkThreadGroup() = default;

// Never destroyed: threads may outlive every static object.
RkThreadGroup& RkThreadGroup::Default() {
    static auto& group = *new RkThreadGroup;
    return group;
}

std::vector<RkThread*> RkThreadGroup::GetThreads() const {
    const std::lock_guard guard(m_lock);
    return {m_threads.begin(), m_threads.end()};
}

void RkThreadGroup::Enter(RkThread* thread) {
    const std::lock_guard guard(m_lock);
    m_threads.insert(thread);
}

void RkThreadGroup::Leave(RkThread* thread) {
    const std::lock_guard guard(m_lock);
    m_threads.erase(thread);
}
