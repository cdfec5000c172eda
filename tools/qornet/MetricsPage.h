#pragma once

#include "Network/HTTP/RkHttpRequestHandler.h"

class ServeServer;

/// /metrics: the counters in the Prometheus text format.
class MetricsPage : public RkHttpRequestHandler {
public:
    /// @param server  borrowed; outlives the handler
    explicit MetricsPage(ServeServer& server) : m_server(server) {}
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override;

private:
    ServeServer& m_server;
};
