#include "Network/Network/RkUdpServer.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <memory>
#include <sstream>

#include "Base/RkIO.h"
#include "Base/RkSemLock.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSelect.h"
#include "Network/Network/RkServerText.h"
#include "Network/Network/RkUdpConnection.h"
#include "Network/Network/RkUdpCriticalSection.h"

namespace {

const RkTimePeriod WAIT(0, 0, 0, 1);  ///< longest time without a look at the shutdown flag
const RkTimePeriod IDLE(0, 0, 0, 60);

}  // namespace

RkUdpServer::RkUdpServer(unsigned short port, int timeout) : RkUdpServer(RkInetAddress(0u, port), timeout) {}

RkUdpServer::RkUdpServer(const RkInetAddress& address, int timeout)
    : RkThread(RkThreadGroup::Default(), false),
      m_socket(address, RkInetAddress()),
      m_pool(RkThreadPool::DEFAULT_MAX_POOL_SIZE, RkThreadPool::DEFAULT_START_POOL_SIZE, true, 0, IDLE, nullptr),
      m_timeout(timeout) {}

RkUdpServer::RkUdpServer(unsigned short port, int connectionTimeout, int maxPoolSize, int startPoolSize,
                         bool deleteRunnables, const RkTimePeriod& timeout, RkPooledThreadFactory* factory)
    : RkThread(RkThreadGroup::Default(), false),
      m_socket(RkInetAddress(0u, port), RkInetAddress()),
      m_pool(maxPoolSize, startPoolSize, deleteRunnables, 0, timeout, factory),
      m_timeout(connectionTimeout) {}

RkUdpServer::~RkUdpServer() { Shutdown(); }

void RkUdpServer::Run() {
    struct AtTheEnd {
        RkUdpServer& server;
        ~AtTheEnd() { server.Finish(); }
    } const atTheEnd{*this};
    m_hasRun = true;
    ReceiveUntilStopped();
}

void RkUdpServer::ReceiveUntilStopped() {
    RkSelect ready;
    ready.AddReader(m_socket.GetHandle());
    const timeval limit{WAIT.Seconds(), 0};
    ::setsockopt(m_socket.GetHandle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    while (!m_shutdown) {
        m_state = "waiting for message";
        const int count = AwaitDatagram(ready);
        if (count == -1 || m_shutdown)
            return;
        if (count > 0)
            TakeDatagram();
    }
}

/// Waits by a look at the next datagram that takes nothing of it: a third of the cost of a readiness wait, which is asked
/// only where the look fails.
/// @return as RkSelect::Select
int RkUdpServer::AwaitDatagram(RkSelect& ready) {
    if (RkIO::Recv(m_socket.GetHandle(), nullptr, 0, MSG_PEEK) != -1)
        return 1;
    return errno == EAGAIN ? 0 : ready.Select(WAIT, true);
}

void RkUdpServer::TakeDatagram() {
    try {
        std::unique_ptr<RkUdpConnection> connection(CreateConnection());
        m_state = "reading message";
        if (connection == nullptr)
            return DropDatagram();
        connection->Read(m_socket);
        Enter(connection.get());
        connection->SetServer(this);
        m_pool.DoWork(connection.get());
        (void)connection.release();  // the pool's, or the caller's, from here on
    } catch (const RkNetworkException&) {
        // only this datagram is lost
    }
}

void RkUdpServer::DropDatagram() {
    RkInetAddress sender;
    char byte;
    RkUdpCriticalSection::Itself().RecvFrom(m_socket, sender, &byte, sizeof byte);
}

void RkUdpServer::Enter(RkUdpConnection* connection) {
    const RkSemLock guard(m_sync);
    m_map.emplace(connection, connection);
}

void RkUdpServer::Finish() {
    RkUdpCriticalSection::Itself().Close(m_socket);
    m_state = "shutdown";
    m_event.Post();
}

void RkUdpServer::Stop() {
    m_shutdown = true;
    RkUdpCriticalSection::Itself().Wake(m_socket);
    const bool runs = m_hasRun || GetRunning();  // a server that was never started keeps nobody waiting
    const bool ended = runs && m_event.Wait(RkTimePeriod(0, 0, 0, 0, m_timeout));
    m_pool.Stop();
    if (ended && !HasConnections())
        return;
    std::ostringstream report;  // built and dropped: a subclass that overrides PrintSelf is asked, nobody is told
    report << "warning - server shutdown timeout\n";
    PrintSelf(report, RK_PRINT_STATE);
}

bool RkUdpServer::HasConnections() const {
    const RkSemLock guard(m_sync);
    return !m_map.empty();
}

void RkUdpServer::CloseConnection(RkUdpConnection* connection) {
    const RkSemLock guard(m_sync);
    m_map.erase(connection);
}

void RkUdpServer::HandleInspection(kstr::diag::RkInspector& inspector) {
    std::ostringstream text;
    PrintSelf(text, RK_PRINT_ALL);
    inspector.reportMultiLineValue("TARNUdpServer", text.str());
}

void RkUdpServer::PrintSelf(std::ostream& stream, PrintSelfLevel level) {
    RkPrintServerBanner(stream, "TARNUdpServer", level);
    if (level == RK_PRINT_ALL) {
        const RkSemLock guard(m_sync);
        RkPrintConnections(stream, m_map);
    }
    if (level >= RK_PRINT_STATE && level <= RK_PRINT_ALL) {
        RkPrintServerState(stream, GetLocalAddress(), m_state, m_pool);
        stream << "\r\n";
    }
    stream << "\r\n";
}

RkInetAddress RkUdpServer::GetLocalAddress() const { return m_socket.GetLocalAddress(); }
