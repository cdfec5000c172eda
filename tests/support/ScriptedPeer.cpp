#include "tests/support/ScriptedPeer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

[[noreturn]] void Die(const char* call) {
    std::perror(call);
    std::abort();
}

int TcpSocket() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return fd == -1 ? (Die("socket"), -1) : fd;
}

int Bound() {
    const int fd = TcpSocket();
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any) == -1)
        Die("bind");
    return fd;
}

int Listening(int backlog) {
    const int fd = Bound();
    if (::listen(fd, backlog) == -1)
        Die("listen");
    return fd;
}

sockaddr_in NameOf(int fd) {
    sockaddr_in name{};
    socklen_t length = sizeof name;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&name), &length) == -1)
        Die("getsockname");
    return name;
}

RkInetAddress AddressOf(int fd) {
    const sockaddr_in name = NameOf(fd);
    return {&name, sizeof name};
}

}  // namespace

std::string ScriptedPeer::Connection::Read() {
    char data[65536];
    const ssize_t count = ::recv(m_fd, data, sizeof data, 0);
    return count > 0 ? std::string(data, static_cast<std::size_t>(count)) : std::string();
}

std::string ScriptedPeer::Connection::ReadUntil(const std::string& end) {
    std::string text;
    while (text.find(end) == std::string::npos) {
        const std::string more = Read();
        if (more.empty())
            break;
        text += more;
    }
    return text;
}

std::string ScriptedPeer::Connection::ReadAll() {
    std::string text;
    for (std::string more; !(more = Read()).empty();)
        text += more;
    return text;
}

void ScriptedPeer::Connection::Write(const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t count = ::send(m_fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

void ScriptedPeer::Connection::ShutdownWrite() { ::shutdown(m_fd, SHUT_WR); }

void ScriptedPeer::Connection::Close() {
    const std::lock_guard guard(m_lock);
    if (m_fd != -1)
        ::close(std::exchange(m_fd, -1));
}

void ScriptedPeer::Connection::Reset() {
    const linger atOnce{1, 0};
    ::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Close();
}

void ScriptedPeer::Connection::Wake() {
    const std::lock_guard guard(m_lock);
    if (m_fd != -1)
        ::shutdown(m_fd, SHUT_RDWR);
}

ScriptedPeer::ScriptedPeer(Script script)
    : m_script(std::move(script)), m_listener(Listening(128)), m_address(AddressOf(m_listener)) {
    m_thread = std::thread([this] { Run(); });
}

ScriptedPeer::~ScriptedPeer() {
    {
        const std::lock_guard guard(m_lock);
        m_stopping = true;
        if (m_current)
            m_current->Wake();
    }
    ::shutdown(m_listener, SHUT_RDWR);  // ends a waiting accept
    m_thread.join();
    ::close(m_listener);
}

void ScriptedPeer::Run() {
    for (int fd; (fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) != -1;) {
        Connection connection(fd);
        {
            const std::lock_guard guard(m_lock);
            m_current = &connection;
            if (m_stopping)
                connection.Wake();
        }
        m_script(connection);
        {
            const std::lock_guard guard(m_lock);
            m_current = nullptr;
        }
        connection.Close();
    }
}

StuckListener::StuckListener() : m_listener(Listening(0)), m_address(AddressOf(m_listener)), m_filler(TcpSocket()) {
    const sockaddr_in name = NameOf(m_listener);
    if (::connect(m_filler, reinterpret_cast<const sockaddr*>(&name), sizeof name) == -1)
        Die("connect");
}

StuckListener::~StuckListener() {
    ::close(m_filler);
    ::close(m_listener);
}

RkInetAddress UnusedAddress() {
    const int fd = Bound();
    const RkInetAddress address = AddressOf(fd);
    ::close(fd);
    return address;
}
