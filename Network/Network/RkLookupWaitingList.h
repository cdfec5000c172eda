#pragma once

#include <cstdint>
#include <map>

#include "Base/RkOS.h"
#include "Network/QorNetworkExport.h"

/// The threads that are inside a name look-up, and since when. Both name caches keep one and let a watchdog count the
/// threads that are stuck. Not locked: the owning cache holds its lock around every call.
class QOR_NETWORK_EXPORT RkLookupWaitingList {
public:
    /// Notes that a thread begins a look-up. A thread that is noted already keeps its old time: a look-up that a resolver
    /// exception ended left it there, and it counts as blocked since then.
    /// @param now  in seconds since the epoch
    void Enter(RkOS::Thread_t thread, std::int64_t now) { m_since.try_emplace(thread, now); }

    /// Notes that a thread's look-up is over. Unknown threads are ignored.
    void Leave(RkOS::Thread_t thread) {
        if (!m_since.empty())
            m_since.erase(thread);
    }

    /// @return number of threads whose look-up began more than `seconds` before `now`. Now and the difference are unsigned
    ///         32-bit numbers, so a start that lies in the future (a clock set back) counts as long ago.
    unsigned int CountBlocked(unsigned int seconds, std::int64_t now) const;

private:
    std::map<RkOS::Thread_t, std::int64_t> m_since;
};
