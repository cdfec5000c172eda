#include "Network/Network/RkBasicConnectionPool.h"

#include <memory>

#include "Base/RkSemLock.h"
#include "Network/Network/RkBasicConnectionException.h"

RkBasicConnectionPool::RkBasicConnectionPool(unsigned int minConnections, unsigned int maxConnections)
    : m_minConnections(minConnections), m_cleanupTime(0, 0, 1), m_connectionSem(maxConnections) {}

RkBasicConnectionPool::~RkBasicConnectionPool() {
    const RkSemLock lock(m_queueLock);
    for (RkBasicConnection* connection : m_available) {
        try {
            Destroy(connection);
        } catch (...) {  // nobody is left to tell, and it has been freed
        }
    }
}

RkBasicConnection* RkBasicConnectionPool::CreateConnection() { return new RkBasicConnection; }

RkBasicConnection* RkBasicConnectionPool::Get(const RkTimePeriod& timeout) {
    if (!m_connectionSem.Wait(timeout))
        throw RkBasicConnectionException("Number of connections is maxed out");
    RkBasicConnection* connection = Take();
    connection->SetTimeStamp(RkTimePeriod::SinceEpoch());
    return connection;
}

RkBasicConnection* RkBasicConnectionPool::Take() {
    const RkSemLock lock(m_queueLock);
    if (!m_available.empty()) {
        if (RkBasicConnection* connection = PopBack())
            return connection;
        throw RkBasicConnectionException("NULL connection in pool");
    }
    RkBasicConnection* connection = CreateConnection();
    if (!connection)
        throw RkBasicConnectionException("Could not get a new connection");
    ++m_currentConnections;
    return connection;
}

RkBasicConnection* RkBasicConnectionPool::PopBack() {
    RkBasicConnection* connection = m_available.back();
    m_available.pop_back();
    return connection;
}

void RkBasicConnectionPool::Done(RkBasicConnection* connection, bool kill) {
    const RkSemLock lock(m_queueLock);
    if (kill) {
        Kill(connection);
    } else if (connection) {
        connection->SetTimeStamp(RkTimePeriod::SinceEpoch());
        m_available.push_front(connection);
        m_connectionSem.Post();
    }
}

void RkBasicConnectionPool::Kill(RkBasicConnection* connection) {
    if (!connection)
        return;
    const RkSemLock lock(m_queueLock);
    m_connectionSem.Post();
    Destroy(connection);
}

// The places of idle connections were given back when they were returned: giving them back once more here would let more
// than the maximum out.
void RkBasicConnectionPool::Destroy(RkBasicConnection* connection) {
    if (!connection)
        return;
    const std::unique_ptr<RkBasicConnection> doomed(connection);
    --m_currentConnections;
    doomed->Close();
}

void RkBasicConnectionPool::CleanUp() {
    const RkSemLock lock(m_queueLock);
    const RkTimePeriod now = RkTimePeriod::SinceEpoch();
    while (m_currentConnections > m_minConnections && !m_available.empty()) {
        if (now - m_available.back()->GetTimeStamp() <= m_cleanupTime)
            return;
        Destroy(PopBack());
    }
}

void RkBasicConnectionPool::ClearPool() {
    const RkSemLock lock(m_queueLock);
    while (!m_available.empty())
        Destroy(PopBack());
}

void RkBasicConnectionPool::SetCleanUpTime(const RkTimePeriod& time) {
    const RkSemLock lock(m_queueLock);
    m_cleanupTime = time;
}
