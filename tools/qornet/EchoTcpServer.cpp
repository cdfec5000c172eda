#include "EchoTcpServer.h"

#include <atomic>
#include <memory>

#include "Network/Network/RkTcpConnection.h"

namespace {

class Connection : public RkTcpConnection {
public:
    explicit Connection(RkTcpSocket* socket) : m_socket(socket) {}
    ~Connection() override {
        LeaveServer();
        m_socket->Close();
    }

    void Run() override {
        char data[16384];
        ssize_t count = 0;
        while (!m_stopped && (count = m_socket->Read(data, sizeof data)) > 0)
            if (!WriteAll(data, static_cast<std::size_t>(count)))
                return;
    }

    void Stop() override {
        m_stopped = true;
        m_socket->Wake();
    }

private:
    bool WriteAll(const char* data, std::size_t count) {
        while (count > 0) {
            const ssize_t sent = m_socket->Write(data, count);
            if (sent <= 0)
                return false;
            data += sent;
            count -= static_cast<std::size_t>(sent);
        }
        return true;
    }

    const std::unique_ptr<RkTcpSocket> m_socket;
    std::atomic<bool> m_stopped{false};
};

}  // namespace

EchoTcpServer::~EchoTcpServer() { StopAndJoin(); }

RkTcpConnection* EchoTcpServer::CreateConnection(RkTcpSocket* socket) { return new Connection(socket); }
