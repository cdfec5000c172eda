/// Sending and receiving as both datagram sockets do it; for the library's own use.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "Base/RkTypes.h"

class RkInetAddress;

/// One recvfrom. @param[out] from  the sender; untouched when the result is below 1
ssize_t RkReceiveDatagram(SOCKET sock, char* buff, size_t bytes, RkInetAddress& from);

/// One sendto. Throws an RkNetworkException for an IPv6 address.
ssize_t RkSendDatagram(SOCKET sock, const RkInetAddress& to, const char* buff, size_t bytes);
