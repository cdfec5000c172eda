#include "Base/RkIO.h"

#include <poll.h>
#include <sys/sendfile.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Base/RkSigPipeHeldBack.h"

namespace {

/// Makes a call again as long as a signal interrupts it. Only for calls that have done nothing when they are interrupted.
template <class Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

timeval ToTimeval(const RkTimePeriod& period) { return {period.Seconds(), period.TotalMicroSeconds() % 1000000}; }

/// @return 0, or the error of the connection attempt, which asking for it clears
int PendingError(SOCKET sock) {
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(sock, SOL_SOCKET, SO_ERROR, &error, &length) == -1)
        return errno;
    return error;
}

// An interrupted connect goes on in the kernel; calling it again would only say EALREADY.
int AwaitConnection(SOCKET sock) {
    pollfd wanted{sock, POLLOUT, 0};
    const int ready = Uninterrupted([&] { return ::poll(&wanted, 1, -1); });
    return ready != -1 && RkIO::IsConnected(sock) ? 0 : -1;
}

}  // namespace

int RkIO::Bind(SOCKET sock, const sockaddr* address, socklen_t length) { return ::bind(sock, address, length); }

int RkIO::Listen(SOCKET sock, int backlog) { return ::listen(sock, backlog); }

SOCKET RkIO::Accept(SOCKET sock, sockaddr* address, socklen_t* length) {
    return Uninterrupted([&] { return ::accept4(sock, address, length, SOCK_CLOEXEC); });
}

int RkIO::Connect(SOCKET sock, const sockaddr* address, socklen_t length) {
    const int result = ::connect(sock, address, length);
    return result == -1 && errno == EINTR ? AwaitConnection(sock) : result;  // only a blocking connect is interrupted
}

ssize_t RkIO::Send(SOCKET sock, const char* data, size_t count, int flags) {
    return Uninterrupted([&] { return ::send(sock, data, count, flags | MSG_NOSIGNAL); });
}

ssize_t RkIO::Recv(SOCKET sock, char* data, size_t count, int flags) {
    return Uninterrupted([&] { return ::recv(sock, data, count, flags); });
}

ssize_t RkIO::SendTo(SOCKET sock, const char* data, size_t count, int flags, const sockaddr* to, socklen_t length) {
    return Uninterrupted([&] { return ::sendto(sock, data, count, flags | MSG_NOSIGNAL, to, length); });
}

ssize_t RkIO::RecvFrom(SOCKET sock, char* data, size_t count, int flags, sockaddr* from, socklen_t* length) {
    return Uninterrupted([&] { return ::recvfrom(sock, data, count, flags, from, length); });
}

// When a wait is interrupted, Linux leaves the sets alone and takes what has passed off the time: both forms can wait again.

int RkIO::Select(int count, fd_set* readers, fd_set* writers, fd_set* exceptions, const RkTimePeriod& timeout) {
    timeval left = ToTimeval(std::max(timeout, RkTimePeriod()));
    return Uninterrupted([&] { return ::select(count, readers, writers, exceptions, &left); });
}

int RkIO::Select(int count, fd_set* readers, fd_set* writers, fd_set* exceptions) {
    return Uninterrupted([&] { return ::select(count, readers, writers, exceptions, nullptr); });
}

ssize_t RkIO::SendFile(SOCKET sock, int file, size_t count) {
    const RkSigPipeHeldBack held;
    const ssize_t sent = Uninterrupted([&] { return ::sendfile(sock, file, nullptr, count); });
    if (sent != static_cast<ssize_t>(count))  // the peer may have gone half-way, too
        held.TakeBack();
    return sent;
}

RkErrorCode RkIO::Shutdown(SOCKET sock, int how) { return ::shutdown(sock, how); }

RkErrorCode RkIO::Close(SOCKET sock) { return ::close(sock); }

bool RkIO::IsConnected(SOCKET sock) {
    const int error = PendingError(sock);
    if (error != 0) {
        errno = error;
        return false;
    }
    sockaddr_storage peer;
    socklen_t length = sizeof peer;
    return ::getpeername(sock, reinterpret_cast<sockaddr*>(&peer), &length) == 0;  // ENOTCONN while still under way
}
