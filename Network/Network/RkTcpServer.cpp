#include "Network/Network/RkTcpServer.h"

#include <iostream>
#include <sstream>
#include <utility>

#include "Base/RkException.h"
#include "Base/RkIO.h"
#include "Base/RkSemLock.h"
#include "Base/RkSwallow.h"
#include "Diag/RkInspector.h"
#include "Diag/RkLogStream.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSelect.h"
#include "Network/Network/RkServerText.h"
#include "Network/Network/RkTcpConnection.h"

using kstr::diag::LV_DEBUG;
using kstr::diag::LV_ERROR;
using kstr::diag::LV_INFO;

namespace {

constexpr int BACKLOG = 200;           ///< of a server that binds itself
constexpr unsigned PAUSE_MS = 1000;    ///< after a failure, before the next client
const RkTimePeriod WAIT(0, 0, 0, 1);   ///< longest time without a look at the shutdown flag
const RkTimePeriod IDLE(0, 0, 0, 60);  ///< of the default pool's further threads

RkInetAddress AnyAddress(unsigned short port) { return {RkUInt32{INADDR_ANY}, port}; }

}  // namespace

RkTcpServer::RkTcpServer(const RkInetAddress& address, int connectionTimeout, int maxPoolSize, int startPoolSize,
                         bool deleteRunnables, const RkTimePeriod& timeout, RkPooledThreadFactory* threadfactory,
                         RkTcpSocketFactory* sockfactory)
    : RkTcpServer(address, connectionTimeout, {maxPoolSize, startPoolSize, deleteRunnables, 0, timeout, threadfactory},
                  std::unique_ptr<RkTcpSocketFactory>(sockfactory)) {}

RkTcpServer::RkTcpServer(unsigned short port, int connectionTimeout, int maxPoolSize, int startPoolSize,
                         bool deleteRunnables, const RkTimePeriod& timeout, RkPooledThreadFactory* threadfactory,
                         RkTcpSocketFactory* sockfactory)
    : RkTcpServer(AnyAddress(port), connectionTimeout, maxPoolSize, startPoolSize, deleteRunnables, timeout,
                  threadfactory, sockfactory) {}

RkTcpServer::RkTcpServer(const RkInetAddress& address, int timeout, RkTcpSocketFactory* factory, int poolwaittime)
    : RkTcpServer(address, timeout,
                  {RkThreadPool::DEFAULT_MAX_POOL_SIZE, RkThreadPool::DEFAULT_START_POOL_SIZE, true, poolwaittime, IDLE,
                   nullptr},
                  std::unique_ptr<RkTcpSocketFactory>(factory)) {}

RkTcpServer::RkTcpServer(unsigned short port, int timeout, RkTcpSocketFactory* factory)
    : RkTcpServer(AnyAddress(port), timeout, factory, 0) {}

/// The factory is an owner already here: the pool may have no thread to start with, and throw.
RkTcpServer::RkTcpServer(const RkInetAddress& address, int timeout, const PoolArguments& pool,
                         std::unique_ptr<RkTcpSocketFactory> factory)
    : RkThread(RkThreadGroup::Default(), false),
      m_server(address, true),
      m_pool(pool.maxSize, pool.startSize, pool.deleteRunnables, pool.waitTime, pool.idle, pool.factory),
      m_timeout(timeout),
      m_factory(factory ? std::move(factory) : std::make_unique<RkTcpSocketFactory>()),
      m_askedPort(address.GetPort()) {}

RkTcpServer::~RkTcpServer() { StopAndJoin(); }

void RkTcpServer::StopAndJoin() {
    Shutdown();
    WaitForThread(this);  // when another thread was first to shut it down
    m_pool.Stop();        // a connection that called Stop was left to finish by itself
}

void RkTcpServer::Run() {
    if (!SettleListening())  // tells the log and standard error why not
        return;
    RkSelect listener;
    listener.AddReader(m_server.GetHandle());
    listener.AddWriter(m_server.GetHandle());
    listener.AddException(m_server.GetHandle());
    while (!m_shutdown && m_server.IsOpen())
        ServeNextClient(listener);
    DropClient();
    ShutDown();
}

/// @return whether the server listens. Whoever waits to know is told, also when an exception of the subclass's Bind leaves.
bool RkTcpServer::SettleListening() {
    struct Telling {
        RkEvent& settled;
        ~Telling() { settled.Post(); }
    } const telling{m_settled};
    return OpenAndBind();
}

/// Binds before it names the logger, which carries the port that binding gave; what it has to say comes after that.
bool RkTcpServer::OpenAndBind() {
    const bool open = OpenListener();
    const std::optional<std::string> failure = open ? TryToBind() : std::nullopt;
    NameLogger();
    DIAG_LOG(*m_logger, LV_INFO, "Server thread started");
    if (!failure)
        return open;
    m_server.Close();
    std::cerr << "TCPServer failed to bind to port: " + *failure + '\n' << std::flush;
    DIAG_LOG(*m_logger, LV_ERROR, "Failed to bind to port");
    return false;
}

bool RkTcpServer::OpenListener() {
    try {
        m_server.Open();
    } catch (const RkNetworkException&) {
        // callers know a server that has no socket by its silence
    }
    return m_server.IsOpen();
}

/// @return why it could not; nothing when the server listens
std::optional<std::string> RkTcpServer::TryToBind() {
    try {
        if (!m_bound)
            Bind(BACKLOG);
        return std::nullopt;
    } catch (const RkNetworkException& e) {
        return e.what();
    }
}

void RkTcpServer::NameLogger() {
    const RkUInt16 bound = GetLocalAddress().GetPort();
    m_logger.emplace("Qor.Network.Network.RkTcpServer.Port " + std::to_string(bound != 0 ? bound : m_askedPort));
}

void RkTcpServer::ServeNextClient(RkSelect& listener) {
    const bool went = SwallowingSilently([&] {
        if (WaitForClient(listener))
            AcceptClient();
    });
    if (!went)
        Pause();
}

/// Waits inside the accept itself, which Stop's Wake ends: that is one system call a client. Where it gives nobody (no
/// descriptors left, or a client that hung up) the readiness wait keeps the loop from spinning.
/// @return whether there is a client, taken or still to be accepted
bool RkTcpServer::WaitForClient(RkSelect& listener) {
    m_state = "waiting for connection";
    if (m_client.handle == -1)
        m_client = m_server.TakeClient();
    if (m_client.handle != -1)
        return !m_shutdown;
    try {
        return listener.Select(WAIT, true) > 0 && !m_shutdown && m_server.IsOpen();
    } catch (const RkNetworkException&) {
        return false;
    }
}

void RkTcpServer::AcceptClient() {
    m_state = "accepting connection";
    // A plain pointer on purpose: until CreateConnection has taken it, an exception of the subclass loses the socket
    // (test ExceptionOfTheSubclassLosesTheSocketAndServingGoesOn).
    RkTcpSocket* const socket = m_factory->CreateSocket();
    if (socket == nullptr)
        throw RkException("The socket factory made no socket");
    DIAG_LOG(*m_logger, LV_DEBUG, "After CreateSocket");
    if (!Accept(*socket)) {
        delete socket;
        return Pause();
    }
    DIAG_LOG(*m_logger, LV_DEBUG, "After Accept");
    if (!ValidConnection(*socket))
        return Refuse(socket);
    DIAG_LOG(*m_logger, LV_INFO, "Connection accepted");
    m_state = "connection accepted";
    ++m_counter;
    if (RkTcpConnection* const connection = CreateConnection(socket))
        AddConnection(connection);
}

/// @return false when the system had no connection to give (no descriptors left, say); `socket` is closed then
bool RkTcpServer::Accept(RkTcpSocket& socket) {
    if (m_client.handle != -1) {
        socket.Adopt(std::exchange(m_client, {}));
        return true;
    }
    try {
        m_server.Accept(socket);
        return true;
    } catch (const RkNetworkException&) {
        DIAG_LOG(*m_logger, LV_ERROR, "Accept failed");
        socket.Close();
        return false;
    }
}

/// Closes one that came while the server was being stopped, or for which the factory made no socket until then.
void RkTcpServer::DropClient() {
    if (m_client.handle != -1)
        RkIO::Close(std::exchange(m_client, {}).handle);
}

void RkTcpServer::Refuse(RkTcpSocket* socket) {
    socket->CloseForce();
    delete socket;
    ++m_invalidCounter;
}

void RkTcpServer::Pause() { m_stopRequested.wait(PAUSE_MS); }

void RkTcpServer::ShutDown() {
    DIAG_LOG(*m_logger, LV_INFO, "Server thread stopping, connections = " << GetConnectionCount());
    m_state = "stopping thread pool";
    m_pool.Stop();
    m_state = "closing server socket";
    m_server.Close();
    m_state = "shutdown";
    m_event.Post();
}

void RkTcpServer::Stop() {
    m_shutdown = true;
    m_stopRequested.Post();
    m_server.ShutdownSocket();
    m_server.Wake();  // the half shutdown before it wakes no wait for clients
    if (!IsCurrent())
        WaitForThread(this);
    if (m_timeout > 0)
        m_event.wait(static_cast<unsigned>(m_timeout));
}

std::string RkTcpServer::GetClosingReport() const {
    const std::size_t connections = GetConnectionCount();
    if (connections == 0)
        return "server thread shutdown complete\r\n";
    return "some server connections did not shutdown\r\n server state = " + std::string(GetState()) +
           "\r\n connections = " + std::to_string(connections) + "\r\n";
}

void RkTcpServer::HandleInspection(kstr::diag::RkInspector& inspector) {
    std::ostringstream text;
    PrintSelf(text, RK_PRINT_ALL);
    inspector.reportMultiLineValue("TARNTcpServer", text.str());
}

void RkTcpServer::PrintSelf(std::ostream& stream, PrintSelfLevel level) {
    RkPrintServerBanner(stream, "TARNTcpServer", level);
    if (level == RK_PRINT_ALL)
        PrintConnections(stream);
    if (level >= RK_PRINT_STATE && level <= RK_PRINT_ALL)
        PrintState(stream);
    stream << "\r\n";
}

void RkTcpServer::PrintConnections(std::ostream& stream) const {
    const RkSemLock lock(m_sync);
    RkPrintConnections(stream, m_map);
}

void RkTcpServer::PrintState(std::ostream& stream) const {
    RkPrintServerState(stream, GetLocalAddress(), GetState(), m_pool);
    stream << "total accepted connections: " << GetAcceptedCount() << "\r\n"
           << "total invalid connection attempts: " << GetInvalidCount() << "\r\n\r\n";
}

void RkTcpServer::CloseConnection(RkTcpConnection* connection) {
    const RkSemLock lock(m_sync);
    m_map.erase(connection);
}

void RkTcpServer::AddConnection(RkTcpConnection* connection) {
    {
        const RkSemLock lock(m_sync);
        m_map.emplace(connection, connection);
    }
    connection->SetServer(this);
    m_pool.DoWork(connection);
}

void RkTcpServer::Bind(int backlog) {
    if (m_bound)
        return;
    m_server.Bind();
    m_server.Listen(backlog);
    m_bound = true;
}

void RkTcpServer::Bind(RkInetAddress& address, int backlog) {
    if (m_bound)
        return;
    m_askedPort = address.GetPort();
    m_server.Bind(address);
    m_server.Listen(backlog);
    m_bound = true;
}

bool RkTcpServer::ValidConnection(RkTcpSocket& /*socket*/) { return true; }

void RkTcpServer::DoWork(RkRunnable* runnable) { m_pool.DoWork(runnable); }

void RkTcpServer::StopThreadPool() { m_pool.Stop(); }

RkErrorCode RkTcpServer::Open() { return m_server.Open(); }

bool RkTcpServer::WaitUntilListening() {
    while (!m_settled.wait(1000)) {}
    return m_bound;
}

RkInetAddress RkTcpServer::GetLocalAddress() const { return m_server.GetLocalAddress(); }

RkUInt64 RkTcpServer::GetAcceptedCount() const { return m_counter; }
RkUInt64 RkTcpServer::GetInvalidCount() const { return m_invalidCounter; }
const char* RkTcpServer::GetState() const { return m_state; }

std::size_t RkTcpServer::GetConnectionCount() const {
    const RkSemLock lock(m_sync);
    return m_map.size();
}

int RkTcpServer::GetTotalThreads() const { return m_pool.GetTotal(); }
int RkTcpServer::GetIdleThreads() const { return m_pool.GetIdle(); }
int RkTcpServer::GetQueuedWork() const { return m_pool.GetQueued(); }
