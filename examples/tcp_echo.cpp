// An echo server and its client in one program: listen on a port that the system chooses, answer, close in order, and wake a
// reader from another thread.
#include <functional>
#include <iostream>
#include <string>
#include <thread>

#include "Base/RkBStream.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkTcpTimeoutSocket.h"

namespace {

const RkTimePeriod FIVE_SECONDS(0, 0, 0, 5);
constexpr size_t LONGEST_LINE = 1000;

/// Answers one client line by line, until it has nothing more to say.
void ServeOne(RkTcpSocket& listener) {
    RkTcpSocket client;
    if (!listener.Accept(client, FIVE_SECONDS))
        return;
    RkBStream stream(client);
    for (std::string line; stream.ReadLine(line, LONGEST_LINE);) {
        stream << "echo: " << line << "\n";
        stream.Flush();
    }
    client.Close();
}

void Talk(RkTcpTimeoutSocket& socket) {
    RkBStream stream(socket);
    for (const char* const word : {"hello", "world"}) {
        stream << word << "\n";
        stream.Flush();
        std::string answer;
        if (stream.ReadLine(answer, LONGEST_LINE))
            std::cout << answer << "\n";
    }
}

/// Nothing will come any more, and the reader would wait for five seconds: closing ends that at once.
void CloseFromAnotherThread(RkTcpTimeoutSocket& socket) {
    std::thread reader([&] {
        char byte;
        std::cout << "read gave " << socket.Read(&byte, 1) << "\n";
    });
    socket.Close();
    reader.join();
}

}  // namespace

int main() try {
    RkTcpSocket listener;
    listener.Bind(RkInetAddress("127.0.0.1", 0));
    listener.Listen(1);
    std::thread server(ServeOne, std::ref(listener));

    RkTcpTimeoutSocket socket(FIVE_SECONDS, FIVE_SECONDS, FIVE_SECONDS);  // connect, read, write
    socket.Connect(listener.GetLocalAddress());
    Talk(socket);
    CloseFromAnotherThread(socket);

    server.join();
    listener.Close();
} catch (const RkNetworkException& e) {
    std::cerr << e.what() << "\n";
    return 1;
}
