#pragma once

#include "Crypto/OpenSSLTypes.h"

namespace kstr::Crypto {

/// The transport of a session: a BIO over a descriptor that it does not own. Not exported.
///
/// Unlike OpenSSL's own it raises no SIGPIPE. A socket time-out (SO_RCVTIMEO, SO_SNDTIMEO) shows as "to be retried", like a
/// non-blocking descriptor that is not ready.
///
/// Callers wait on the descriptor, so nothing that OpenSSL has not asked for may be held back here: each read is one recv of
/// what it asked for and no more. A handshake would cost two of these for each of its short records. There the BIO looks at
/// what has come, hands it out piece by piece, and takes it from the descriptor when all of it was used.
class SocketBIO {
public:
    /// @param handle  stays the caller's, and is not closed by the BIO
    /// @return a new BIO, the caller's. Throws BasicException when there is no memory.
    static BIO* Create(int handle);

    /// The handshake is over: takes what it has used, and nothing is looked at from now on before it is asked for.
    static void StopLookingAhead(BIO* bio);

    /// From now on a send that finds no room is "to be retried", on a blocking descriptor, too.
    static void SendWithoutWaiting(BIO* bio);
};

}  // namespace kstr::Crypto
