#include <iostream>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/HTTP/RkHttpServer.h"

struct Hello : RkHttpRequestHandler {
    void handleRequest(RkHttpRequest&, RkBStream& out) override { out << "HTTP/1.0 200 OK\r\n\r\nhello\n"; }
};

int main() {
    RkHttpServer server(0, "./", 30);        // any free port; files of this folder; 30 s for a client to speak
    server.addHandler("/hello", new Hello);  // owned by the server
    server.WaitUntilListening();

    const RkUrl url("http://127.0.0.1:" + std::to_string(server.GetLocalAddress().GetPort()) + "/hello");
    RkHttpClient client(RkTimePeriod{});
    client.get(url);
    std::string line;
    client.getStream().ReadLine(line, 80);
    std::cout << url.getEscapedUrl() << " says " << line << std::endl;
}
