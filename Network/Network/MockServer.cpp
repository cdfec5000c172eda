#include "Network/Network/MockServer.h"

#include <boost/thread/thread.hpp>

#include "Network/Network/RkAsNetworkException.h"

namespace {

constexpr int kBacklog = 5;
constexpr size_t kLongestRequest = 2047;

/// Closes a socket however the scope ends.
class Closer {
public:
    explicit Closer(RkTcpSocket& socket) : m_socket(socket) {}
    ~Closer() { m_socket.Close(); }
    Closer(const Closer&) = delete;
    Closer& operator=(const Closer&) = delete;

private:
    RkTcpSocket& m_socket;
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

// Wakes again and again: the thread may only be about to accept, or to read.
void MockServer::EndThread() {
    const boost::this_thread::disable_interruption shielded;  // the destructor cannot let that out
    do {
        m_sock->Wake();
        m_client->Wake();
    } while (!m_listenThread->try_join_for(boost::chrono::milliseconds(10)));
}

RkInetAddress MockServer::GetLocalAddress() { return m_sock->GetLocalAddress(); }

void MockServer::RunSynchronously() {
    RkTcpSocket client;
    Serve(client);
}

void MockServer::Serve(RkTcpSocket& client) {
    RkAsNetworkException([&] { ServeOne(client); });
}

void MockServer::ServeOne(RkTcpSocket& client) {
    m_sock->Listen(kBacklog);
    const Closer closer(client);
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
    const auto client = std::make_shared<RkTcpSocket>();
    m_client = client;
    m_listenThread = std::make_unique<boost::thread>([this, client] { ServeQuietly(*client); });
}

void MockServer::ServeQuietly(RkTcpSocket& client) noexcept {
    try {
        Serve(client);
    } catch (...) {  // the client sees the closed connection
    }
}

void MockServer::Wait() {
    if (!m_listenThread)
        return;
    m_listenThread->join();
    m_listenThread.reset();
}
