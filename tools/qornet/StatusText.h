#pragma once

#include "Network/HTTP/RkHttpRequestHandler.h"

class ServeServer;

/// /status.txt: what the server prints about itself at level 3.
class StatusText : public RkHttpRequestHandler {
public:
    /// @param server  borrowed; outlives the handler
    explicit StatusText(ServeServer& server) : m_server(server) {}
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override;

private:
    ServeServer& m_server;
};
