#include "EchoUdpServer.h"

#include "Network/Network/RkUdpConnection.h"

namespace {

class EchoDatagram : public RkUdpConnection {
public:
    void Run() override { Send(m_buffer, m_bufferLength); }
    void Stop() override {}
};

}  // namespace

EchoUdpServer::EchoUdpServer(const RkInetAddress& address) : RkUdpServer(address, STOP_TIMEOUT) {}

EchoUdpServer::~EchoUdpServer() {
    Stop();
    WaitForThread(this);
}

RkUdpConnection* EchoUdpServer::CreateConnection() { return new EchoDatagram; }
