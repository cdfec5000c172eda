#pragma once

#include "Base/RkTimePeriod.h"
#include "Base/RkTypes.h"

/// A single wait on one socket, for the library's own use. Where RkSelect is made once and waits often, this costs nothing
/// to set up: its sets are as large as the handle needs, on the stack for handles below 1,024.
class RkSocketWait {
public:
    enum Condition : unsigned { READABLE = 1, WRITABLE = 2, EXCEPTIONAL = 4 };

    /// @param sock        -1 watches nothing, so that only the time passes
    /// @param conditions  a sum of the above
    /// @param timeout     zero: without limit
    /// @param waker       a second handle that is watched for input; -1: none
    /// @return number of ready conditions; 0 after the time-out; -1 with errno set, also where it would wait for ever with
    ///         nothing to watch. Never throws.
    static int For(SOCKET sock, unsigned conditions, const RkTimePeriod& timeout, SOCKET waker = -1);
};
