#pragma once

#include "Network/Network/RkTcpSocket.h"

/// Makes the socket of each connection that a server accepts; a subclass decides its class (plain, with time-outs, TLS).
/// Servers call it from their own thread only.
class QOR_NETWORK_EXPORT RkTcpSocketFactory {
public:
    virtual ~RkTcpSocketFactory();

    /// @return a new, closed socket that the caller owns; here a plain RkTcpSocket
    virtual RkTcpSocket* CreateSocket();
};
