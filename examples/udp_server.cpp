// A datagram server that answers each question in capitals, and a client that asks it.
#include <algorithm>
#include <cctype>
#include <iostream>
#include <string>

#include "Network/Network/RkUdpConnection.h"
#include "Network/Network/RkUdpServer.h"

// One datagram: read in the server's thread, answered in a thread of its pool, which then deletes it.
class Question : public RkUdpConnection {
public:
    void Run() override {
        std::string answer(m_buffer, m_bufferLength);
        std::transform(answer.begin(), answer.end(), answer.begin(), [](unsigned char c) { return std::toupper(c); });
        Send(answer.data(), answer.size());
    }
    void Stop() override {}  // Run is short
};

class CapitalServer : public RkUdpServer {
public:
    CapitalServer() : RkUdpServer(RkInetAddress("127.0.0.1", 0), 2000) {}
    ~CapitalServer() override {
        Stop();
        WaitForThread(this);
    }
    RkUdpConnection* CreateConnection() override { return new Question; }
};

int main() {
    CapitalServer server;
    server.Start();
    RkUdpSocket client(RkInetAddress("127.0.0.1", 0), server.GetLocalAddress());
    const std::string question = "is anybody there?";
    client.Write(question.data(), question.size());
    char answer[64];
    const ssize_t length = client.Read(answer, sizeof answer, RkTimePeriod(0, 0, 0, 5));
    client.Close();  // no destructor of a socket does that
    std::cout << question << " " << std::string(answer, static_cast<std::size_t>(std::max<ssize_t>(length, 0))) << "\n";
    return length == static_cast<ssize_t>(question.size()) ? 0 : 1;
}
