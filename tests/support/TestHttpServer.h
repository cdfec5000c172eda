#pragma once

#include <string>

#include "Network/HTTP/RkHttpServer.h"
#include "tests/support/LambdaHandler.h"

/// An HTTP server on a port of 127.0.0.1 that the system chose; listens when its constructor returns.
class TestHttpServer : public RkHttpServer {
public:
    explicit TestHttpServer(const std::string& root, unsigned timeout = 0, RkTcpSocketFactory* sockets = nullptr)
        : RkHttpServer(NotStarted(), RkInetAddress("127.0.0.1", 0), sockets, root, timeout) {
        Bind(1000);
        Start();
    }
    ~TestHttpServer() override { StopAndJoin(); }

    RkUInt16 Port() const { return GetLocalAddress().GetPort(); }
    RkHttpRequestMap& Map() { return GetRequestMap(); }
    void Handle(const std::string& name, LambdaHandler::Work work) {
        addHandler(name, new LambdaHandler(std::move(work)));
    }
};
