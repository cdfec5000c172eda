#include "Network/Network/RkUdpCriticalSection.h"

#include <atomic>

#include "Network/Network/RkSelect.h"
#include "Network/Network/RkUdpSocket.h"

namespace {

std::atomic<bool> isHeld{false};  ///< a hint: changed by the holder only

/// Holds the lock for one system call.
///
/// The holder is done within microseconds, so a short while of watching is cheaper than going to sleep: that would cost
/// the holder a wake-up, and with the receiver and a few pool threads at it, one for nearly every datagram.
class OneCall {
public:
    explicit OneCall(RkCriticalSection& section) : m_section(section) {
        for (int look = 0; look < LOOKS && isHeld.load(std::memory_order_relaxed); ++look)
            __builtin_ia32_pause();
        m_section.Lock();
        isHeld.store(true, std::memory_order_relaxed);
    }
    ~OneCall() {
        isHeld.store(false, std::memory_order_relaxed);
        m_section.Unlock();
    }
    OneCall(const OneCall&) = delete;
    OneCall& operator=(const OneCall&) = delete;

private:
    static constexpr int LOOKS = 200;
    RkCriticalSection& m_section;
};

}  // namespace

RkUdpCriticalSection& RkUdpCriticalSection::Itself() {
    static RkUdpCriticalSection instance;
    return instance;
}

ssize_t RkUdpCriticalSection::RecvFrom(RkUdpSocket& socket, RkInetAddress& from, void* buffer, size_t length) {
    const OneCall guard(*this);
    return socket.ReadFrom(static_cast<char*>(buffer), length, from);
}

ssize_t RkUdpCriticalSection::SendTo(RkUdpSocket& socket, const RkInetAddress& to, const char* data, size_t length) {
    const OneCall guard(*this);
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
    const OneCall guard(*this);
    socket.Close();
}

void RkUdpCriticalSection::Wake(RkUdpSocket& socket) {
    const OneCall guard(*this);
    socket.ShutdownSocket();
    socket.Wake();
}
