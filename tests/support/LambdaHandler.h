#pragma once

#include <functional>

#include "Network/HTTP/RkHttpRequest.h"

/// A request handler made of what the test wants to happen.
class LambdaHandler : public RkHttpRequestHandler {
public:
    using Work = std::function<void(RkHttpRequest&, RkBStream&)>;
    explicit LambdaHandler(Work work) : m_work(std::move(work)) {}
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override { m_work(request, stream); }

private:
    const Work m_work;
};
