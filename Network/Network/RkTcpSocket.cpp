#include "Network/Network/RkTcpSocket.h"

#include <netinet/tcp.h>

#include <algorithm>
#include <cerrno>

#include "Base/RkIO.h"
#include "Base/RkSemLock.h"
#include "Network/Network/RkMessage.h"
#include "Network/Network/RkSocketWait.h"

RkTcpSocket::RkTcpSocket() : m_reuseAddr(false) {}

RkTcpSocket::RkTcpSocket(const RkInetAddress& inetAddr, bool reuseAddr)
    : m_inetAddr(inetAddr), m_reuseAddr(reuseAddr) {}

RkTcpSocket::RkTcpSocket(const RkTcpSocket& sock) : RkSocket(), m_inetAddr(sock.m_inetAddr), m_reuseAddr(false) {}

RkTcpSocket& RkTcpSocket::operator=(const RkTcpSocket& sock) {
    SetHandle(sock.m_sock);
    return *this;
}

RkTcpSocket::~RkTcpSocket() = default;

ssize_t RkTcpSocket::Read(char* buff, size_t bytes) { return RkIO::Recv(m_sock, buff, bytes, 0); }

ssize_t RkTcpSocket::Write(const char* buff, size_t bytes) { return RkIO::Send(m_sock, buff, bytes, 0); }

bool RkTcpSocket::Flush() { return true; }

ssize_t RkTcpSocket::Read(char* buff, size_t bytes, const RkTimePeriod& timeout) {
    return RkSocket::Read(buff, bytes, timeout);
}

void RkTcpSocket::Reset() {
    Close();
    RkSocket::Open(SOCK_STREAM, 0, true);
}

// Waits only when there is no room at once, so that most writes are one system call.
ssize_t RkTcpSocket::Write(const char* buff, size_t bytes, const RkTimePeriod& timeout) {
    if (IsOpen()) {
        const ssize_t sent = RkIO::Send(m_sock, buff, bytes, MSG_DONTWAIT);
        if (sent >= 0)
            return sent + SendRest(buff + sent, bytes - static_cast<size_t>(sent));
        if (errno != EAGAIN)
            return -1;
    }
    const int ready = RkSocketWait::For(m_sock, RkSocketWait::WRITABLE, timeout);
    return ready > 0 ? RkIO::Send(m_sock, buff, bytes, 0) : ready;
}

/// Goes on with a send that there was room for in part only: a blocking socket takes all of it.
/// @return bytes taken, 0 also when there was an error, which the next call tells
ssize_t RkTcpSocket::SendRest(const char* buff, size_t bytes) {
    return bytes == 0 ? 0 : std::max<ssize_t>(RkIO::Send(m_sock, buff, bytes, 0), 0);
}

void RkTcpSocket::Connect(const RkInetAddress& remoteAddr) {
    Open();
    if (BeginConnect(remoteAddr) == -1)
        FailConnect("Connect failed: ");
}

void RkTcpSocket::Connect(const RkInetAddress& remoteAddr, const RkTimePeriod& timeout) {
    Open();
    const bool wasNonBlocking = GetNonBlockingMode();
    SetNonBlockingMode(true);
    if (BeginConnect(remoteAddr) == -1 && errno != EINPROGRESS && errno != EAGAIN)
        FailConnect("Connect failed: ");
    if (RkSocketWait::For(m_sock, RkSocketWait::WRITABLE, timeout) < 1)
        FailConnect("Connect timed out: ");
    if (!RkIO::IsConnected(m_sock))
        FailConnect("Connect failed: ");
    if (!wasNonBlocking)
        SetNonBlockingMode(false);
}

int RkTcpSocket::BeginConnect(const RkInetAddress& remoteAddr) {
    if (!remoteAddr.IsV4())
        Close();  // the conversion throws, and a failed connect leaves the socket closed
    sockaddr_in address{};
    remoteAddr.GetAddr(address);
    return RkIO::Connect(m_sock, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

void RkTcpSocket::FailConnect(const char* text) {
    Close();
    RkThrowErrno(text);
}

void RkTcpSocket::SetNagleEnabled(bool enable) {
    const int noDelay = enable ? 0 : 1;
    if (::setsockopt(m_sock, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay) == -1)
        RkThrowErrno("setsockopt(IPPROTO_TCP, TCP_NODELAY) failed: ");
}

void RkTcpSocket::Bind() {
    Open();
    RkSocket::Bind(m_inetAddr);
}

void RkTcpSocket::Bind(const RkInetAddress& address) {
    Open();
    m_inetAddr = address;
    RkSocket::Bind(m_inetAddr);
}

void RkTcpSocket::Listen(int backlog) {
    if (RkIO::Listen(m_sock, backlog) == -1)
        RkThrowErrno("Listen failed: ");
}

void RkTcpSocket::Accept(RkTcpSocket& newSocket) {
    const Client client = TakeClient();
    if (client.handle == -1)
        RkThrowErrno("Accept() failed: ");
    newSocket.Adopt(client);
}

RkTcpSocket::Client RkTcpSocket::TakeClient() {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    Client client;
    client.handle = RkIO::Accept(m_sock, reinterpret_cast<sockaddr*>(&address), &length);
    client.address = &address;
    return client;
}

void RkTcpSocket::Adopt(const Client& client) {
    SetHandle(client.handle);
    m_acceptedFrom = client.address;
}

bool RkTcpSocket::Accept(RkTcpSocket& newSocket, const RkTimePeriod& timeout) {
    const int ready =
        RkSocketWait::For(m_sock, RkSocketWait::READABLE | RkSocketWait::WRITABLE | RkSocketWait::EXCEPTIONAL, timeout);
    if (ready == -1)
        RkThrowErrno("Select() failed in Accept(): ");
    if (ready == 0)
        return false;
    Accept(newSocket);
    return true;
}

void RkTcpSocket::AcceptSocket() {}

void RkTcpSocket::CloseForce() {
    const RkSemLock lock(m_closeLock);
    if (!IsOpen())
        return;
    const linger reset{1, 0};
    ::setsockopt(m_sock, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    CloseSocket();
    SetHandle(-1);
}

RkErrorCode RkTcpSocket::Open() {
    if (!IsOpen())
        RkSocket::Open(SOCK_STREAM, 0, m_reuseAddr);
    return 0;
}

int RkTcpSocket::close() { return 0; }
