#pragma once

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "Base/QorBaseExport.h"
#include "Base/RkTimePeriod.h"
#include "Base/RkTypes.h"

/// The socket system calls under their own names. Each returns what the call returned, with errno as the call left it.
///
/// Calls that a signal interrupted are taken up again where that is safe: a wait with what is left of its time, a connect
/// by waiting for its outcome; a close is never repeated (the number may belong to somebody else by then). Every new
/// descriptor is close-on-exec, and no send ever raises SIGPIPE. Stateless; safe from any thread.
class QOR_BASE_EXPORT RkIO {
public:
    static int Bind(SOCKET sock, const sockaddr* address, socklen_t length);
    static int Listen(SOCKET sock, int backlog);

    /// @param[out] address    the peer's address; may be null together with `length`
    /// @param[in,out] length  room in `address`, then the length of what was stored
    /// @return the new descriptor or -1
    static SOCKET Accept(SOCKET sock, sockaddr* address, socklen_t* length);

    static int Connect(SOCKET sock, const sockaddr* address, socklen_t length);
    static ssize_t Send(SOCKET sock, const char* data, size_t count, int flags);
    static ssize_t Recv(SOCKET sock, char* data, size_t count, int flags);
    static ssize_t SendTo(SOCKET sock, const char* data, size_t count, int flags, const sockaddr* to, socklen_t length);
    static ssize_t RecvFrom(SOCKET sock, char* data, size_t count, int flags, sockaddr* from, socklen_t* length);

    /// Waits at most `timeout` (zero or less only looks). After an interruption the sets are as they were given.
    /// The sets may be larger than `fd_set`; only their first `count` bits are touched, in whole words of 64. Bits of larger
    /// sets must be set by the caller's own arithmetic: FD_SET ends the process for descriptors of 1,024 and above.
    static int Select(int count, fd_set* readers, fd_set* writers, fd_set* exceptions, const RkTimePeriod& timeout);

    /// Waits without limit.
    static int Select(int count, fd_set* readers, fd_set* writers, fd_set* exceptions);

    /// Sends at most `count` bytes of a file, from its position on, without passing them through user space.
    /// @return the number of bytes; 0 at the end of the file; EINVAL where the file's kind does not allow it
    static ssize_t SendFile(SOCKET sock, int file, size_t count);

    static RkErrorCode Shutdown(SOCKET sock, int how);
    static RkErrorCode Close(SOCKET sock);

    /// Whether a connect that was begun without blocking has succeeded. If not, errno says why.
    static bool IsConnected(SOCKET sock);
};
