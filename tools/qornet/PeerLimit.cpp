#include "PeerLimit.h"

bool PeerLimit::HasRoom(RkUInt32 peer) {
    if (m_most == 0)
        return true;
    const std::scoped_lock lock(m_lock);
    const auto found = m_counts.find(peer);
    return found == m_counts.end() || found->second < m_most;
}

void PeerLimit::Enter(RkUInt32 peer) {
    if (m_most == 0)
        return;
    const std::scoped_lock lock(m_lock);
    ++m_counts[peer];
}

void PeerLimit::Leave(RkUInt32 peer) {
    if (m_most == 0)
        return;
    const std::scoped_lock lock(m_lock);
    const auto found = m_counts.find(peer);
    if (--found->second == 0)
        m_counts.erase(found);
}
