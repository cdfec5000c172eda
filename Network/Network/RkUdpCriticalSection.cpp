#include "Network/Network/RkUdpCriticalSection.h"

#include "Base/RkSemLock.h"
#include "Network/Network/RkSelect.h"
#include "Network/Network/RkUdpSocket.h"

RkUdpCriticalSection& RkUdpCriticalSection::Itself() {
    static RkUdpCriticalSection instance;
    return instance;
}

ssize_t RkUdpCriticalSection::RecvFrom(RkUdpSocket& socket, RkInetAddress& from, void* buffer, size_t length) {
    const RkSemLock guard(*this);
    return socket.ReadFrom(static_cast<char*>(buffer), length, from);
}

ssize_t RkUdpCriticalSection::SendTo(RkUdpSocket& socket, const RkInetAddress& to, const char* data, size_t length) {
    const RkSemLock guard(*this);
    return socket.WriteTo(to, data, length);
}

ssize_t RkUdpCriticalSection::WaitForRecv(RkUdpSocket& socket, RkInetAddress& from, void* buffer, size_t length,
                                          int timeout) {
    const SOCKET handle = socket.GetHandle();
    RkSelect ready;
    ready.AddReader(handle);
    ready.AddException(handle);
    const RkTimePeriod limit = timeout == -1 ? RkTimePeriod() : RkTimePeriod(0, 0, 0, 0, timeout);
    const int count = ready.Select(limit, true);
    return count > 0 && ready.Readable(handle) ? RecvFrom(socket, from, buffer, length) : count;
}

void RkUdpCriticalSection::Close(RkUdpSocket& socket) {
    const RkSemLock guard(*this);
    socket.Close();
}

void RkUdpCriticalSection::Wake(RkUdpSocket& socket) {
    const RkSemLock guard(*this);
    socket.ShutdownSocket();
    socket.Wake();
}
