#include "Network/Network/MockServer.h"

#include <boost/thread/thread.hpp>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkTcpSocket.h"

namespace {

constexpr int kBacklog = 5;
constexpr size_t kLongestRequest = 2047;

/// Closes an accepted socket however its scope ends.
class ClosingSocket : public RkTcpSocket {
public:
    ~ClosingSocket() override { Close(); }
};

}  // namespace

MockServer::MockServer(const std::string& response, RkTimePeriod timeout, const std::string& address)
    : m_response(response),
      m_timeout(timeout),
      m_sock(std::make_unique<RkTcpTimeoutSocket>(RkInetAddress(address, 0, false), timeout, timeout, timeout, true)) {
    try {
        m_sock->Bind();
    } catch (...) {
        m_sock->Close();
        throw;
    }
}

MockServer::~MockServer() {
    if (m_listenThread)
        EndThread();
    m_sock->Close();
}

// Wakes again and again: the thread may only be about to listen.
void MockServer::EndThread() {
    do
        m_sock->Wake();
    while (!m_listenThread->try_join_for(boost::chrono::milliseconds(10)));
}

RkInetAddress MockServer::GetLocalAddress() { return m_sock->GetLocalAddress(); }

void MockServer::RunSynchronously() {
    try {
        ServeOne();
    } catch (const RkNetworkException&) {
        throw;
    } catch (const RkException& e) {
        throw RkNetworkException(e.GetMessage());
    }
}

void MockServer::ServeOne() {
    m_sock->Listen(kBacklog);
    ClosingSocket client;
    m_sock->Accept(client, m_timeout);
    if (!client.IsOpen())
        return;
    char request[kLongestRequest + 1];
    client.Read(request, kLongestRequest);
    client.WriteExactly(m_response.data(), m_response.size());
}

// Listens before the thread does so again: a client may connect as soon as this returns.
void MockServer::Run() {
    m_sock->Listen(kBacklog);
    m_listenThread = std::make_unique<boost::thread>([this] { ServeQuietly(); });
}

void MockServer::ServeQuietly() noexcept {
    try {
        RunSynchronously();
    } catch (...) {  // the client sees the closed connection
    }
}

void MockServer::Wait() {
    if (!m_listenThread)
        return;
    m_listenThread->join();
    m_listenThread.reset();
}
