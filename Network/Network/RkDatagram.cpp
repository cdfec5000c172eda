#include "Network/Network/RkDatagram.h"

#include "Base/RkIO.h"
#include "Network/Network/RkInetAddress.h"

ssize_t RkReceiveDatagram(SOCKET sock, char* buff, size_t bytes, RkInetAddress& from) {
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t count = RkIO::RecvFrom(sock, buff, bytes, 0, reinterpret_cast<sockaddr*>(&sender), &length);
    if (count > 0)
        from = &sender;
    return count;
}

ssize_t RkSendDatagram(SOCKET sock, const RkInetAddress& to, const char* buff, size_t bytes) {
    sockaddr_in receiver{};
    to.GetAddr(receiver);
    return RkIO::SendTo(sock, buff, bytes, 0, reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver);
}
