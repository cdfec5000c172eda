#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "Base/RkTimePeriod.h"

/// When a wait of `timeout` that begins now is over: on the steady clock, which nobody sets. A negative period ends at
/// once; one that the clock could not count to is held to a century.
inline std::chrono::steady_clock::time_point DeadlineAfter(const RkTimePeriod& timeout) {
    constexpr std::int64_t century = 100LL * 365 * 24 * 3600 * 1000000;
    const auto microseconds = std::clamp<std::int64_t>(timeout.TotalMicroSeconds(), 0, century);
    return std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
}
