/// One end of a TCP connection made of plain system calls, so that what it sees of the other owes nothing to this library's
/// sockets.
#pragma once

#include <cstdint>
#include <string>

/// Closes its descriptor.
class PlainConnection {
public:
    explicit PlainConnection(int fd) : m_fd(fd) {}
    ~PlainConnection() { Close(); }
    PlainConnection(const PlainConnection&) = delete;
    PlainConnection& operator=(const PlainConnection&) = delete;

    std::string Read();                             ///< one receive; empty at the end or after an error
    std::string Read(std::size_t count);            ///< exactly so many bytes, or fewer when the stream ends first
    std::string ReadUntil(const std::string& end);  ///< up to and with `end` at least, or to the end of the stream
    std::string ReadAll();
    void Write(const std::string& text);  ///< all of it, or until the other end is gone
    void ShutdownWrite();                 ///< the other end sees the end of the stream
    void Reset();                         ///< makes the close an error for the other end

protected:
    void Close();

    int m_fd;
};

/// A client of a server on 127.0.0.1.
class TestClient : public PlainConnection {
public:
    /// Connects to a port. Throws when that fails.
    explicit TestClient(std::uint16_t port);

    /// Closes at once; the server sees an error.
    void Reset();
};

/// @return the whole answer of an HTTP/1.0 server to a request
std::string Ask(std::uint16_t port, const std::string& request);
