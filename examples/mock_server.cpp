// Tests a client without a real server: the canned answer is a failure that a real one would seldom give.
#include <iostream>
#include <string>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/MockServer.h"

int main() {
    const RkTimePeriod patience(0, 0, 0, 5);
    MockServer server("HTTP/1.0 503 Busy\r\nRetry-After: 30\r\n\r\n", patience,
                      "127.0.0.1");  // a port of the system's choice
    server.Run();                    // one connection, on a thread of its own

    RkHttpClient client("", 0, patience, patience, patience);
    client.get(RkUrl("http://" + server.GetLocalAddress().ToString() + "/"));
    server.Wait();
    std::string wait;
    std::cout << client.getHttpResponse() << ", again in " << client.getResponseHeader("retry-after", wait) << " s\n";
    return wait == "30" ? 0 : 1;
}
