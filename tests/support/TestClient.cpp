#include "tests/support/TestClient.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

std::string PlainConnection::Read() {
    char data[65536];
    return {data, static_cast<std::size_t>(std::max<ssize_t>(0, ::recv(m_fd, data, sizeof data, 0)))};
}

std::string PlainConnection::Read(std::size_t count) {
    std::string text(count, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, ::recv(m_fd, text.data(), count, MSG_WAITALL))));
    return text;
}

std::string PlainConnection::ReadUntil(const std::string& end) {
    std::string text;
    for (std::string more; text.find(end) == std::string::npos && !(more = Read()).empty();)
        text += more;
    return text;
}

std::string PlainConnection::ReadAll() {
    std::string text;
    for (std::string more; !(more = Read()).empty();)
        text += more;
    return text;
}

void PlainConnection::Write(const std::string& text) {
    ssize_t count = 0;
    for (std::size_t sent = 0; count >= 0 && sent < text.size(); sent += static_cast<std::size_t>(count))
        count = ::send(m_fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
}

void PlainConnection::ShutdownWrite() { ::shutdown(m_fd, SHUT_WR); }

void PlainConnection::Reset() {
    const linger atOnce{1, 0};
    ::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void PlainConnection::Close() {
    if (m_fd != -1)
        ::close(std::exchange(m_fd, -1));
}

TestClient::TestClient(std::uint16_t port) : PlainConnection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    // A server that takes a connection and resets it at once may do so before a blocking connect has returned.
    if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno != ECONNRESET)
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
}

void TestClient::Reset() {
    PlainConnection::Reset();
    Close();
}

std::string Ask(std::uint16_t port, const std::string& request) {
    TestClient client(port);
    client.Write(request);
    return client.ReadAll();
}
