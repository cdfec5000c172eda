/// One end of a TCP connection made of plain system calls, so that what it sees of the other owes nothing to this library's
/// sockets.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

/// Closes its descriptor.
class PlainConnection {
public:
    explicit PlainConnection(int fd) : m_fd(fd) {}
    ~PlainConnection() { Close(); }
    PlainConnection(const PlainConnection&) = delete;
    PlainConnection& operator=(const PlainConnection&) = delete;

    /// One receive; empty at the end or after an error.
    std::string Read() { return Receive(0); }
    /// Exactly so many bytes, or fewer when the stream ends first.
    std::string Read(std::size_t count) { return Receive(MSG_WAITALL, count); }
    /// Up to and with `end` at least, or to the end of the stream.
    std::string ReadUntil(const std::string& end) {
        std::string text;
        for (std::string more; text.find(end) == std::string::npos && !(more = Read()).empty();)
            text += more;
        return text;
    }
    std::string ReadAll() {
        std::string text;
        for (std::string more; !(more = Read()).empty();)
            text += more;
        return text;
    }
    /// All of it, or until the other end is gone.
    void Write(const std::string& text) {
        ssize_t count = 0;
        for (std::size_t sent = 0; count >= 0 && sent < text.size(); sent += static_cast<std::size_t>(count))
            count = ::send(m_fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    }
    /// The other end sees the end of the stream.
    void ShutdownWrite() { ::shutdown(m_fd, SHUT_WR); }
    /// Makes the close an error for the other end.
    void Reset() {
        const linger atOnce{1, 0};
        ::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    }

protected:
    std::string Receive(int flags, std::size_t count = 65536) {
        std::string text(count, '\0');
        const ssize_t came = ::recv(m_fd, text.data(), count, flags);
        text.resize(came > 0 ? static_cast<std::size_t>(came) : 0);
        return text;
    }
    void Close() {
        if (m_fd != -1)
            ::close(std::exchange(m_fd, -1));
    }

    int m_fd;
};

/// A client of a server on 127.0.0.1.
class TestClient : public PlainConnection {
public:
    /// Connects to a port. Throws when that fails.
    explicit TestClient(std::uint16_t port) : PlainConnection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
        // A server that takes a connection and resets it at once may do so before a blocking connect has returned.
        if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno != ECONNRESET)
            throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
    /// Closes at once; the server sees an error.
    void Reset() {
        PlainConnection::Reset();
        Close();
    }
};

/// @return the whole answer of an HTTP/1.0 server to a request
inline std::string Ask(std::uint16_t port, const std::string& request) {
    TestClient client(port);
    client.Write(request);
    return client.ReadAll();
}
