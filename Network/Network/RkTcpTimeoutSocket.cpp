#include "Network/Network/RkTcpTimeoutSocket.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "Base/RkIO.h"
#include "Base/RkSemLock.h"
#include "Network/Network/RkSocketWait.h"

namespace {

/// What is left of a time-out; a zero one never passes.
class Countdown {
public:
    explicit Countdown(const RkTimePeriod& timeout) : m_timeout(timeout), m_begin(Clock::now()) {}

    bool IsOver() const { return !m_timeout.IsZero() && Left() <= RkTimePeriod(); }

    RkTimePeriod Left() const {
        if (m_timeout.IsZero())
            return m_timeout;
        const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - m_begin);
        return m_timeout - RkTimePeriod::FromMicroSeconds(passed.count());
    }

private:
    using Clock = std::chrono::steady_clock;

    RkTimePeriod m_timeout;
    Clock::time_point m_begin;
};

}  // namespace

RkTcpTimeoutSocket::RkTcpTimeoutSocket(const RkTimePeriod& connectTimeout, const RkTimePeriod& readTimeout,
                                       const RkTimePeriod& writeTimeout)
    : RkTcpTimeoutSocket(RkInetAddress(), connectTimeout, readTimeout, writeTimeout, false) {}

RkTcpTimeoutSocket::RkTcpTimeoutSocket(const RkInetAddress& inetAddr, const RkTimePeriod& connectTimeout,
                                       const RkTimePeriod& readTimeout, const RkTimePeriod& writeTimeout,
                                       bool reuseAddr)
    : RkTcpSocket(inetAddr, reuseAddr),
      m_pipefds{-1, -1},
      m_connectTimeout(connectTimeout),
      m_readTimeout(readTimeout),
      m_writeTimeout(writeTimeout) {
    SetupPipe();
}

RkTcpTimeoutSocket& RkTcpTimeoutSocket::operator=(const RkTcpTimeoutSocket& sock) {
    RkTcpSocket::operator=(sock);
    return *this;
}

RkTcpTimeoutSocket::~RkTcpTimeoutSocket() { TeardownPipe(); }

void RkTcpTimeoutSocket::Connect(const RkInetAddress& remoteAddr) { Connect(remoteAddr, m_connectTimeout); }

// Looks before it waits: what is there already costs one system call.
ssize_t RkTcpTimeoutSocket::Read(char* buff, size_t bytes) {
    if (!IsOpen() && !m_closing)
        return WaitAndRead(buff, bytes);  // never opened: the time passes all the same
    bool again = false;
    const ssize_t got = ReceiveIfOpen(buff, bytes, again);
    return again ? WaitAndRead(buff, bytes) : got;
}

ssize_t RkTcpTimeoutSocket::WaitAndRead(char* buff, size_t bytes) {
    const Countdown countdown(m_readTimeout);
    RkTimePeriod left = m_readTimeout;
    do {
        const int ready = m_closing ? 1 : RkSocketWait::For(m_sock, RkSocketWait::READABLE, left, m_pipefds[0]);
        if (ready < 1 && !m_closing)
            return ready;
        bool again = false;
        const ssize_t got = ReceiveIfOpen(buff, bytes, again);
        if (!again)
            return got;
        left = countdown.Left();
    } while (!countdown.IsOver());
    return 0;
}

/// Holds the lock of Close over look and receive, so that the number cannot change hands between them.
/// @param[out] again  true: nothing was there after all, wait again
ssize_t RkTcpTimeoutSocket::ReceiveIfOpen(char* buff, size_t bytes, bool& again) {
    const RkSemLock lock(m_closeLock);
    if (m_closing) {
        errno = EBADF;
        return -1;
    }
    const ssize_t got = RkIO::Recv(m_sock, buff, bytes, MSG_DONTWAIT);
    again = got == -1 && errno == EAGAIN;
    if (again)
        DrainPipe();  // of a signal without a Close
    return got;
}

ssize_t RkTcpTimeoutSocket::Write(const char* buff, size_t bytes) { return Write(buff, bytes, m_writeTimeout); }

void RkTcpTimeoutSocket::Close() {
    const RkSemLock lock(m_closeLock);
    m_closing = true;
    SignalPipe();
    RkSocket::Close();
}

void RkTcpTimeoutSocket::SetHandle(SOCKET sock) {
    const RkSemLock lock(m_closeLock);
    if (sock >= 0) {
        m_closing = false;
        DrainPipe();
        if (m_pipefds[0] == -1)
            SetupPipe();
    }
    RkTcpSocket::SetHandle(sock);
}

void RkTcpTimeoutSocket::SetConnectTimeout(const RkTimePeriod& timeout) { m_connectTimeout = timeout; }

void RkTcpTimeoutSocket::SetupPipe() {
    const RkSemLock lock(m_closeLock);
    TeardownPipe();
    if (::pipe2(m_pipefds, O_CLOEXEC | O_NONBLOCK) == -1)
        m_pipefds[0] = m_pipefds[1] = -1;
}

void RkTcpTimeoutSocket::SignalPipe() {
    const RkSemLock lock(m_closeLock);
    if (!m_signalled && m_pipefds[1] != -1)
        m_signalled = ::write(m_pipefds[1], "1", 1) == 1;
}

void RkTcpTimeoutSocket::TeardownPipe() {
    const RkSemLock lock(m_closeLock);
    for (int& fd : m_pipefds) {
        if (fd != -1)
            ::close(fd);
        fd = -1;
    }
    m_signalled = false;
}

/// Taking the one byte back makes the pipe as good as a new one, for fewer system calls.
void RkTcpTimeoutSocket::DrainPipe() {
    char signal;
    if (m_signalled && ::read(m_pipefds[0], &signal, 1) == 1)
        m_signalled = false;
}
