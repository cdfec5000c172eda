#include "Network/Network/RkBasicConnectionRef.h"

#include <utility>

RkBasicConnectionRef::RkBasicConnectionRef(RkBasicConnectionPool& pool, RkTimePeriod& timeout)
    : m_connPool(pool), m_connection(pool.Get(timeout)) {}

RkBasicConnectionRef::~RkBasicConnectionRef() {
    try {
        Done(m_kill);
    } catch (...) {  // the pool has taken it back all the same
    }
}

void RkBasicConnectionRef::Done(bool kill) {
    if (RkBasicConnection* connection = std::exchange(m_connection, nullptr))
        m_connPool.Done(connection, kill);
}
