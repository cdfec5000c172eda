#pragma once

#include "Network/HTTP/RkHttpRequestHandler.h"

/// /echo: the request as the server understood it, as plain text: method, file, parameters and body.
class EchoPage : public RkHttpRequestHandler {
public:
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override;
};
