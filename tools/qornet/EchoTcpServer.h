#pragma once

#include "Network/Network/RkTcpServer.h"

/// The server of `qornet echo tcp`: sends back what each client sends, until the client ends its side.
class EchoTcpServer : public RkTcpServer {
public:
    explicit EchoTcpServer(const RkInetAddress& address) : RkTcpServer(address, 0, nullptr, 0) {}
    ~EchoTcpServer() override;

    RkTcpConnection* CreateConnection(RkTcpSocket* socket) override;
};
