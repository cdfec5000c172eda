#include "Network/Network/RkUdpSocket.h"

#include "Network/Network/RkDatagram.h"

RkUdpSocket::RkUdpSocket(const RkInetAddress& localAddr, const RkInetAddress& remoteAddr)
    : m_localAddr(localAddr), m_remoteAddr(remoteAddr) {
    OpenAndBind();
}

RkUdpSocket::~RkUdpSocket() = default;

ssize_t RkUdpSocket::Read(char* buff, size_t bytes) { return ReadFrom(buff, bytes, m_remoteAddr); }

ssize_t RkUdpSocket::Write(const char* buff, size_t bytes) { return WriteTo(m_remoteAddr, buff, bytes); }

bool RkUdpSocket::Flush() { return true; }

ssize_t RkUdpSocket::Read(char* buff, size_t bytes, const RkTimePeriod& timeout) {
    return RkSocket::Read(buff, bytes, timeout);
}

RkInetAddress RkUdpSocket::GetRemoteAddress() { return m_remoteAddr; }

void RkUdpSocket::Reset() {
    Close();
    OpenAndBind();
}

ssize_t RkUdpSocket::ReadFrom(char* buff, size_t bytes, RkInetAddress& from) {
    return RkReceiveDatagram(GetHandle(), buff, bytes, from);
}

ssize_t RkUdpSocket::WriteTo(const RkInetAddress& to, const char* buff, size_t bytes) {
    return RkSendDatagram(GetHandle(), to, buff, bytes);
}

int RkUdpSocket::close() { return 0; }

void RkUdpSocket::OpenAndBind() try {
    Open(SOCK_DGRAM, 0, false);
    Bind(m_localAddr);
} catch (...) {
    RkSocket::Close();
    throw;
}
