#include "tests/support/ScriptedPeer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace {

int Checked(int result, const char* call) {
    if (result == -1)
        throw std::runtime_error(call);
    return result;
}

int TcpSocket() { return Checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"); }

int BoundToLoopback() {
    const int fd = TcpSocket();
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Checked(::bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any), "bind");
    return fd;
}

int Listening(int backlog) {
    const int fd = BoundToLoopback();
    Checked(::listen(fd, backlog), "listen");
    return fd;
}

sockaddr_in NameOf(int fd) {
    sockaddr_in name{};
    socklen_t length = sizeof name;
    Checked(::getsockname(fd, reinterpret_cast<sockaddr*>(&name), &length), "getsockname");
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
    for (std::string more; text.find(end) == std::string::npos && !(more = Read()).empty();)
        text += more;
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
        if (count < 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

void ScriptedPeer::Connection::ShutdownWrite() { ::shutdown(m_fd, SHUT_WR); }

void ScriptedPeer::Connection::Reset() {
    const linger atOnce{1, 0};
    ::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

ScriptedPeer::ScriptedPeer(Script script)
    : m_script(std::move(script)), m_listener(Listening(128)), m_address(AddressOf(m_listener)) {
    m_thread = std::thread([this] { Run(); });
}

ScriptedPeer::~ScriptedPeer() {
    {
        const std::lock_guard guard(m_lock);
        m_stopping = true;
        ::shutdown(m_current, SHUT_RDWR);
    }
    ::shutdown(m_listener, SHUT_RDWR);  // ends a waiting accept
    m_thread.join();
    ::close(m_listener);
}

void ScriptedPeer::Run() {
    for (int fd; (fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) != -1;) {
        SetCurrent(fd);
        Connection connection(fd);
        m_script(connection);
        SetCurrent(-1);
        ::close(fd);
    }
}

void ScriptedPeer::SetCurrent(int fd) {
    const std::lock_guard guard(m_lock);
    m_current = fd;
    if (m_stopping)
        ::shutdown(fd, SHUT_RDWR);
}

StuckListener::StuckListener() : m_listener(Listening(0)), m_address(AddressOf(m_listener)), m_filler(TcpSocket()) {
    const sockaddr_in name = NameOf(m_listener);
    Checked(::connect(m_filler, reinterpret_cast<const sockaddr*>(&name), sizeof name), "connect");
}

StuckListener::~StuckListener() {
    ::close(m_filler);
    ::close(m_listener);
}

RkInetAddress UnusedAddress() {
    const int fd = BoundToLoopback();
    const RkInetAddress address = AddressOf(fd);
    ::close(fd);
    return address;
}
