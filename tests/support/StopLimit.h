#pragma once

#include <chrono>

/// How long a stop with hundreds of clients may take. Under a sanitizer, whose threads cost many times as much, it is only
/// told from one that waits for the clients' own time-outs, which are longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::chrono::seconds STOP_LIMIT(10);
#else
constexpr std::chrono::seconds STOP_LIMIT(2);
#endif
