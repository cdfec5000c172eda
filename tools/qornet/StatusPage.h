#pragma once

#include "Network/HTTP/RkHttpRequestHandler.h"

class ServeServer;

/// /status: the state of the server as a page for people. It loads itself anew every two seconds.
class StatusPage : public RkHttpRequestHandler {
public:
    /// @param server  borrowed; outlives the handler
    explicit StatusPage(ServeServer& server) : m_server(server) {}
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override;

private:
    ServeServer& m_server;
};
