#pragma once

#include <cstdint>
#include <string>

/// A TCP client of plain system calls, so that what it sees of a server owes nothing to this library's sockets. Reads give
/// up after a generous time.
class TestClient {
public:
    /// Connects to a port of 127.0.0.1. Throws when that fails.
    explicit TestClient(std::uint16_t port);
    ~TestClient();
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;

    /// Sends all of it, or as much as a peer takes that goes away; reading tells then.
    void Send(const std::string& text);

    /// Sends the end of the stream; reading goes on.
    void EndSending();

    /// Closes at once; the server sees an error.
    void Reset();

    /// @return exactly `count` bytes, or fewer when the stream ends first
    std::string Read(std::size_t count);

    /// @return everything up to the end of the stream, or to a reset
    std::string ReadAll();

private:
    int m_socket;
};

/// @return the whole answer of an HTTP/1.0 server to a request
std::string Ask(std::uint16_t port, const std::string& request);
