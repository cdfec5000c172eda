/// The other end of a TCP connection, following a script on a thread of its own.
#pragma once

#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "Network/Network/RkInetAddress.h"
#include "tests/support/TestClient.h"

/// A socket on 127.0.0.1, bound to a port that the system chose.
class BoundSocket {
public:
    BoundSocket() {
        const sockaddr_in any{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        if (::bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0)
            throw std::runtime_error("cannot bind to 127.0.0.1");
    }
    explicit BoundSocket(int backlog) : BoundSocket() { ::listen(fd, backlog); }
    ~BoundSocket() { ::close(fd); }
    BoundSocket(const BoundSocket&) = delete;
    BoundSocket& operator=(const BoundSocket&) = delete;

    RkInetAddress Address() const {
        sockaddr_in name{};
        socklen_t length = sizeof name;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&name), &length);
        return {&name, sizeof name};
    }

    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

/// An address of 127.0.0.1 at which nobody listened a moment ago.
inline RkInetAddress UnusedAddress() { return BoundSocket().Address(); }

/// Listens on 127.0.0.1, on a port that the system chose, and runs the script for each connection, one after another, until
/// it is destroyed; whatever the script waits for on the connection ends then. A connection is closed after its script.
class ScriptedPeer {
public:
    using Connection = PlainConnection;
    using Script = std::function<void(Connection&)>;

    explicit ScriptedPeer(Script script) : m_script(std::move(script)) {}
    ~ScriptedPeer() {
        {
            const std::lock_guard guard(m_lock);
            m_stopping = true;
            ::shutdown(m_current, SHUT_RDWR);
        }
        ::shutdown(m_listener.fd, SHUT_RDWR);  // ends a waiting accept
        m_thread.join();
    }

    /// Answers the head of a request with a text.
    static Script Answering(const std::string& text) {
        return [text](Connection& connection) {
            connection.ReadUntil("\r\n\r\n");
            connection.Write(text);
        };
    }

    RkInetAddress Address() const { return m_listener.Address(); }
    RkUInt16 Port() const { return Address().GetPort(); }

private:
    void Run() {
        for (int fd; (fd = ::accept4(m_listener.fd, nullptr, nullptr, SOCK_CLOEXEC)) != -1;) {
            SetCurrent(fd);
            Connection connection(fd);
            m_script(connection);
            SetCurrent(-1);
        }
    }
    void SetCurrent(int fd) {
        const std::lock_guard guard(m_lock);
        m_current = fd;
        if (m_stopping)
            ::shutdown(fd, SHUT_RDWR);
    }

    const Script m_script;
    const BoundSocket m_listener{128};
    std::mutex m_lock;   ///< guards the next two
    int m_current = -1;  ///< the connection whose script runs
    bool m_stopping = false;
    std::thread m_thread{[this] { Run(); }};
};

/// A listener on 127.0.0.1 that lets nobody in: a connect to it neither succeeds nor fails.
class StuckListener {
public:
    RkInetAddress Address() const { return m_listener.Address(); }

private:
    const BoundSocket m_listener{0};
    const TestClient m_filler{Address().GetPort()};  ///< takes the only place in the queue
};
