#include "Network/Network/RkUdpBroadcastSocket.h"

#include "Network/Network/RkDatagram.h"
#include "Network/Network/RkMessage.h"

RkUdpBroadcastSocket::RkUdpBroadcastSocket(const RkInetAddress& localAddr, const RkInetAddress& remoteAddr)
    : m_localAddr(localAddr), m_remoteAddr(remoteAddr) {
    OpenAndBind();
}

RkUdpBroadcastSocket::~RkUdpBroadcastSocket() = default;

ssize_t RkUdpBroadcastSocket::Read(char* buff, size_t bytes) { return ReadFrom(buff, bytes, m_remoteAddr); }

ssize_t RkUdpBroadcastSocket::Write(const char* buff, size_t bytes) { return WriteTo(m_remoteAddr, buff, bytes); }

bool RkUdpBroadcastSocket::Flush() { return true; }

void RkUdpBroadcastSocket::Close() { RkSocket::Close(); }

RkInetAddress RkUdpBroadcastSocket::GetRemoteAddress() { return m_remoteAddr; }

void RkUdpBroadcastSocket::Reset() {
    Close();
    OpenAndBind();
}

ssize_t RkUdpBroadcastSocket::ReadFrom(char* buff, size_t bytes, RkInetAddress& from) {
    return RkReceiveDatagram(GetHandle(), buff, bytes, from);
}

ssize_t RkUdpBroadcastSocket::WriteTo(const RkInetAddress& to, const char* buff, size_t bytes) {
    return RkSendDatagram(GetHandle(), to, buff, bytes);
}

int RkUdpBroadcastSocket::close() { return 0; }

void RkUdpBroadcastSocket::Open(int type, int protocol, bool reuseAddr) {
    RkSocket::Open(type, protocol, reuseAddr);
    if (SetBoolSocketOption(BROADCAST_SOCK_OPT, true) != 0)
        RkThrowErrno("::setsockopt(SO_BROADCAST) failed ");
}

void RkUdpBroadcastSocket::OpenAndBind() try {
    Open(SOCK_DGRAM, 0, false);
    Bind(m_localAddr);
} catch (...) {
    RkSocket::Close();
    throw;
}
