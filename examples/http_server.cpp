// An HTTP server with one handler, and a client socket that asks it once.
#include <iostream>

#include "Base/RkBStream.h"
#include "Network/HTTP/RkHttpRequest.h"
#include "Network/HTTP/RkHttpServer.h"
#include "Network/Network/RkTcpSocket.h"

namespace {

/// Answers /hello?name=... with a line of text. Called by many threads at once, so it keeps no state.
class HelloHandler : public RkHttpRequestHandler {
public:
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override {
        stream << "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n"
               << "Hello, " << request.getCgi().getFirstValue("name") << "!\n";
    }
};

/// Binds before it starts, so that the caller knows the port (or gets an exception).
class HelloServer : public RkHttpServer {
public:
    explicit HelloServer(const RkInetAddress& address) : RkHttpServer(NotStarted(), address, nullptr, "./", 30) {
        addHandler("/hello", new HelloHandler);
        Bind(200);
        Start();
    }
    ~HelloServer() override { StopAndJoin(); }
};

}  // namespace

int main() {
    HelloServer server(RkInetAddress("127.0.0.1", 0));

    RkTcpSocket client;
    client.Connect(server.GetLocalAddress());
    RkBStream stream(client);
    stream << "GET /hello?name=world HTTP/1.0\r\n\r\n";
    stream.Flush();

    char text[512];
    for (ssize_t count; (count = stream.Read(text, sizeof text)) > 0;)
        std::cout.write(text, count);
    client.Close();
}
