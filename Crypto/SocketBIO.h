#pragma once

#include "Crypto/OpenSSLTypes.h"

namespace kstr::Crypto {

/// The transport of a session: a BIO over a descriptor that it does not own. Not exported.
///
/// Unlike OpenSSL's own it raises no SIGPIPE. A socket time-out (SO_RCVTIMEO, SO_SNDTIMEO) shows as "to be retried", like a
/// non-blocking descriptor that is not ready. Each read is one recv of what OpenSSL asked for and no more: callers wait on
/// the descriptor, so nothing may be held back here.
class SocketBIO {
public:
    /// @param handle  stays the caller's, and is not closed by the BIO
    /// @return a new BIO, the caller's. Throws BasicException when there is no memory.
    static BIO* Create(int handle);
};

}  // namespace kstr::Crypto
