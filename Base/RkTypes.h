/// The integer and handle names of the whole library.
#pragma once

#include <cstddef>
#include <cstdint>

using RkUInt16 = std::uint16_t;
using RkUInt32 = std::uint32_t;
using RkUInt64 = std::uint64_t;
using RkBool = bool;

/// A socket descriptor; -1 is none.
using SOCKET = int;

/// Result of an operation that reports by number: 0 is success.
using RkErrorCode = int;
