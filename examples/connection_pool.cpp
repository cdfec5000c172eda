// Three questions to a line server over one pooled connection.
#include <iostream>
#include <string>
#include <thread>

#include "Network/Network/RkBasicConnectionRef.h"
#include "Network/Network/RkTcpSocket.h"

// Serves one client, until it goes: each line comes back with a mark.
static void Serve(RkTcpSocket& listener) {
    RkTcpSocket client;
    listener.Accept(client);
    RkBStream stream(client);
    for (std::string line; stream.ReadLine(line, 1000);) {
        stream << "heard: " << line << "\n";
        stream.Flush();
    }
    client.Close();
}

static std::string Ask(RkBasicConnectionPool& pool, unsigned short port, const std::string& question) {
    RkTimePeriod patience(0, 0, 0, 5);
    RkBasicConnectionRef connection(pool, patience);                           // back in the pool when the scope ends
    connection->Connect(port, "127.0.0.1", patience, RkBasicConnection::TCP);  // does nothing on one that is connected
    connection->GetStream() << question << "\n";
    connection->Send();
    std::string answer;
    if (!connection->GetStream().ReadLine(answer, 1000))
        connection.Done(true);  // broken: closed instead of kept
    return answer;
}

int main() {
    RkTcpSocket listener;
    listener.Bind(RkInetAddress("127.0.0.1", 0));
    listener.Listen(1);
    std::jthread server([&] { Serve(listener); });

    RkBasicConnectionPool pool(0, 4);  // nothing kept on clean-up, at most four out at a time
    const unsigned short port = listener.GetLocalAddress().GetPort();
    std::string last;
    for (const char* question : {"one", "two", "three"})
        std::cout << (last = Ask(pool, port, question)) << "\n";
    pool.ClearPool();  // the server sees the end
    server.join();
    listener.Close();
    return last == "heard: three" ? 0 : 1;
}
