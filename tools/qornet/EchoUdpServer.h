#pragma once

#include "Network/Network/RkUdpServer.h"

/// The server of `qornet echo udp`: sends every datagram back to its sender. Of one above 4,095 bytes comes back what the
/// server keeps; an empty one is not answered, since the server learns no sender from it.
class EchoUdpServer : public RkUdpServer {
public:
    explicit EchoUdpServer(const RkInetAddress& address);
    ~EchoUdpServer() override;

    RkUdpConnection* CreateConnection() override;

private:
    static constexpr int STOP_TIMEOUT = 2000;  ///< milliseconds
};
