/// MurmurHash3, the published non-cryptographic hash, in its three variants.
///
/// Each hashes the `len` bytes at `key` (which need no alignment; a negative `len` counts as none) and writes its result to
/// `out` in host byte order, which needs no alignment either. No state, no allocation; safe from any thread. The values
/// are those of the reference on a little-endian machine. Whoever feeds it input from strangers must expect collisions
/// made on purpose.
#pragma once

#include "Network/QorNetworkExport.h"

/// Writes one 32-bit number.
QOR_NETWORK_EXPORT void MurmurHash3_x86_32(const void* key, int len, unsigned int seed, void* out);

/// Writes four 32-bit numbers. Differs from the x64 variant for the same key.
QOR_NETWORK_EXPORT void MurmurHash3_x86_128(const void* key, int len, unsigned int seed, void* out);

/// Writes two 64-bit numbers.
QOR_NETWORK_EXPORT void MurmurHash3_x64_128(const void* key, int len, unsigned int seed, void* out);
