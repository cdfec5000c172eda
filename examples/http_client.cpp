// Asks a server with GET and with POST, and ends a request that takes too long from another thread.
#include <iostream>
#include <latch>
#include <string>
#include <thread>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/HTTP/RkHttpRequest.h"
#include "Network/HTTP/RkHttpServer.h"
#include "Network/Network/RkNetworkException.h"

struct Hello : RkHttpRequestHandler {
    void handleRequest(RkHttpRequest& request, RkBStream& out) override {
        const std::string name = request.getCgi().getFirstValue("name");
        out << "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\nhello " << name;
    }
};

// Does not answer before it is told to.
struct Slow : RkHttpRequestHandler {
    void handleRequest(RkHttpRequest&, RkBStream&) override {
        entered.count_down();
        goOn.wait();
    }
    std::latch entered{1}, goOn{1};
};

static std::string Body(RkHttpClient& client) {
    std::string body;
    char chunk[4096];
    for (ssize_t count; (count = client.getStream().Read(chunk, sizeof chunk)) > 0;)
        body.append(chunk, static_cast<std::size_t>(count));
    return body;
}

int main() {
    RkHttpServer server(0, "./", 30);
    auto* slow = new Slow;
    server.addHandler("/hello", new Hello);  // owned by the server
    server.addHandler("/slow", slow);
    server.WaitUntilListening();
    const std::string url = "http://127.0.0.1:" + std::to_string(server.GetLocalAddress().GetPort());

    const RkTimePeriod patience(0, 0, 0, 10);
    RkHttpClient client("", 0, patience, patience, patience);  // no proxy
    client.get(RkUrl(url + "/hello?name=Ada"));
    std::string type;
    std::cout << client.getHttpResponse() << ", " << client.getResponseHeader("content-type", type) << ": ";
    std::cout << Body(client) << "\n";
    client.post(RkUrl(url + "/hello"), "name=Grace");
    std::cout << "posted: " << Body(client) << "\n";

    std::jthread impatient([&] {
        slow->entered.wait();
        client.cancel();
    });
    bool canceled = false;
    try {
        client.get(RkUrl(url + "/slow"));
    } catch (const RkNetworkException& e) {
        canceled = true;
        std::cout << e.what() << "\n";
    }
    slow->goOn.count_down();
    return canceled ? 0 : 1;
}
