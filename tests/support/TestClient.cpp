#include "tests/support/TestClient.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

TestClient::TestClient(std::uint16_t port) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{30, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(m_socket);
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
}

TestClient::~TestClient() {
    if (m_socket != -1)
        ::close(m_socket);
}

void TestClient::Send(const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t count = ::send(m_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

void TestClient::EndSending() { ::shutdown(m_socket, SHUT_WR); }

void TestClient::Reset() {
    const linger reset{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    ::close(std::exchange(m_socket, -1));
}

std::string TestClient::Read(std::size_t count) {
    std::string text;
    char data[65536];
    while (text.size() < count) {
        const ssize_t got = ::recv(m_socket, data, std::min(sizeof data, count - text.size()), 0);
        if (got <= 0)
            break;
        text.append(data, static_cast<std::size_t>(got));
    }
    return text;
}

std::string TestClient::ReadAll() { return Read(std::string::npos); }

std::string Ask(std::uint16_t port, const std::string& request) {
    TestClient client(port);
    client.Send(request);
    return client.ReadAll();
}
