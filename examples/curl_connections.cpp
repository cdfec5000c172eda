// Requests over libcurl from a pool whose connections all send one more header.
#include <iostream>
#include <string>

#include "Network/HTTP/RkHttpRequest.h"
#include "Network/HTTP/RkHttpServer.h"
#include "Network/Network/RkBasicConnectionRef.h"
#include "Network/Network/RkHTTPConnectionPool.h"

struct Whoami : RkHttpRequestHandler {
    void handleRequest(RkHttpRequest& request, RkBStream& out) override {
        out << "HTTP/1.0 200 OK\r\n\r\n"
            << request.getHeader("x-agent") << " asked " << request.getCgi().getFirstValue("q");
    }
};

int main() {
    RkHttpServer server(0, "./", 30);
    server.addHandler("/whoami", new Whoami);
    server.WaitUntilListening();
    const unsigned short port = server.GetLocalAddress().GetPort();

    RkHTTPConnectionPool pool(1, 4);
    pool.AddHeader("X-Agent: example");  // before the first connection is made
    RkTimePeriod patience(0, 0, 0, 5);
    int good = 0;
    for (const char* path : {"/whoami?q=one", "/whoami?q=two", "/nowhere"}) {
        RkBasicConnectionRef lease(pool, patience);
        auto& connection = static_cast<RkHTTPConnection&>(*lease.Get());
        connection.Connect(port, std::string("http://127.0.0.1") + path, patience);
        connection.Send();
        if (connection.GetResponseResult() != RkHTTPConnection::HTTP_NO_ERROR) {
            std::cerr << path << ": " << connection.GetResponseBody() << "\n";  // why there was no answer
            continue;
        }
        std::cout << path << ": " << connection.GetResponseCode() << "\n";
        if (connection.GetResponseCode() == 200)
            std::cout << "  " << connection.GetResponseBody() << "\n";
        good += connection.GetResponseCode() == 200;
    }
    return good == 2 ? 0 : 1;
}
