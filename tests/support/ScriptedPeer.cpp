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

int BoundToLoopback() {
    const int fd = Checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_in any{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    Checked(::bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any), "bind");
    return fd;
}

int Listening(int backlog) {
    const int fd = BoundToLoopback();
    Checked(::listen(fd, backlog), "listen");
    return fd;
}

RkInetAddress AddressOf(int fd) {
    sockaddr_in name{};
    socklen_t length = sizeof name;
    Checked(::getsockname(fd, reinterpret_cast<sockaddr*>(&name), &length), "getsockname");
    return {&name, sizeof name};
}

}  // namespace

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
    }
}

void ScriptedPeer::SetCurrent(int fd) {
    const std::lock_guard guard(m_lock);
    m_current = fd;
    if (m_stopping)
        ::shutdown(fd, SHUT_RDWR);
}

StuckListener::StuckListener()
    : m_listener(Listening(0)), m_address(AddressOf(m_listener)), m_filler(m_address.GetPort()) {}

StuckListener::~StuckListener() { ::close(m_listener); }

RkInetAddress UnusedAddress() {
    const int fd = BoundToLoopback();
    const RkInetAddress address = AddressOf(fd);
    ::close(fd);
    return address;
}
