#include "Network/Network/RkSocket.h"

#include <fcntl.h>

#include "Base/RkIO.h"
#include "Base/RkSemLock.h"
#include "Network/Network/RkMessage.h"
#include "Network/Network/RkSocketWait.h"

namespace {

using NameCall = int (*)(int, sockaddr*, socklen_t*);

/// Asks the system for an address of an IPv4 socket.
RkInetAddress AddressFrom(NameCall call, SOCKET sock) {
    static const RkInetAddress EMPTY;
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (call(sock, reinterpret_cast<sockaddr*>(&address), &length) == -1)
        return EMPTY;
    return {&address, static_cast<int>(length)};
}

}  // namespace

RkSocket::RkSocket() : m_sock(-1), m_isNonBlocking(false) {}

RkSocket::~RkSocket() = default;

void RkSocket::Close() {
    const RkSemLock lock(m_closeLock);
    if (!IsOpen())
        return;
    CloseSocket();
    SetHandle(-1);
}

RkInetAddress RkSocket::GetLocalAddress() {
    const RkSemLock lock(m_closeLock);  // a server's PrintSelf calls it from another thread
    return AddressFrom(&::getsockname, m_sock);
}

RkInetAddress RkSocket::GetRemoteAddress() { return AddressFrom(&::getpeername, m_sock); }

RkErrorCode RkSocket::Shutdown(int how) { return RkIO::Shutdown(m_sock, how); }

ssize_t RkSocket::Read(char* buf, size_t len, const RkTimePeriod& timeout) {
    if (!IsOpen())
        return -1;
    return RkSocketWait::For(m_sock, RkSocketWait::READABLE, timeout) == 1 ? Read(buf, len) : 0;
}

RkErrorCode RkSocket::ShutdownSocket() {
    const RkSemLock lock(m_closeLock);  // a server's Stop calls it from another thread
    return IsOpen() ? Shutdown(SHUT_WR) : 0;
}

RkErrorCode RkSocket::CloseSocket() { return RkIO::Close(m_sock); }

void RkSocket::SetHandle(SOCKET sock) { m_sock = sock; }

void RkSocket::SetNonBlockingMode(bool on) {
    if (!IsOpen())
        Reset();
    const int flags = ::fcntl(m_sock, F_GETFL);
    if (flags == -1)
        RkThrowErrno("fcntl F_GETFL failed: ");
    const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    if (wanted != flags && ::fcntl(m_sock, F_SETFL, wanted) == -1)
        RkThrowErrno("fcntl/ioctlsocket failed: ");
    m_isNonBlocking = on;
}

bool RkSocket::GetNonBlockingMode() { return m_isNonBlocking; }

int RkSocket::SetBoolSocketOption(RkBoolSocketOptions opt, bool on) { return SetSocketOption<int>(opt, on ? 1 : 0); }

bool RkSocket::GetBoolSocketOption(RkBoolSocketOptions opt) {
    int value = 0;
    GetSocketOption<int>(opt, value);
    return value == 1;
}

template <>
int RkSocket::SetSocketOption<int>(int opt, const int& value) {
    return ::setsockopt(m_sock, SOL_SOCKET, opt, &value, sizeof value);
}

template <>
int RkSocket::GetSocketOption<int>(int opt, int& value) {
    socklen_t length = sizeof value;
    return ::getsockopt(m_sock, SOL_SOCKET, opt, &value, &length);
}

void RkSocket::Bind(const RkInetAddress& addr) {
    sockaddr_in address{};
    addr.GetAddr(address);
    if (RkIO::Bind(m_sock, reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1)
        RkThrowErrno("Bind failed: ");
}

void RkSocket::Open(int type, int protocol, bool reuseAddr) {
    m_isNonBlocking = false;
    const SOCKET sock = ::socket(AF_INET, type | SOCK_CLOEXEC, protocol);
    if (sock == -1)
        RkThrowErrno("::socket() failed ");
    SetHandle(sock);
    if (SetSocketOption<int>(SO_REUSEADDR, reuseAddr ? 1 : 0) == -1) {
        Close();
        RkThrowErrno("::setsockopt() failed ");  // errno as the close left it: kept
    }
}

void RkSocket::Wake() {
    const RkSemLock lock(m_closeLock);
    if (IsOpen())
        RkIO::Shutdown(m_sock, SHUT_RDWR);
}
