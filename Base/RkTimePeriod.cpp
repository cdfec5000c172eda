#include "Base/RkTimePeriod.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace {

// Six int fields add up to at most 2^68 microseconds: wide enough to sum first and cut once.
__extension__ using WideCount = __int128;

constexpr WideCount LONGEST = std::numeric_limits<std::int64_t>::max();

std::int64_t Saturated(WideCount microseconds) {
    return static_cast<std::int64_t>(std::clamp(microseconds, -LONGEST, LONGEST));
}

}  // namespace

RkTimePeriod::RkTimePeriod(int days, int hours, int minutes, int seconds, int milliseconds, int microseconds) {
    const WideCount wholeHours = WideCount{days} * 24 + hours;
    const WideCount wholeSeconds = (wholeHours * 60 + minutes) * 60 + seconds;
    m_microseconds = Saturated((wholeSeconds * 1000 + milliseconds) * 1000 + microseconds);
}

RkTimePeriod RkTimePeriod::SinceEpoch() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return FromMicroSeconds(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

RkTimePeriod RkTimePeriod::FromMicroSeconds(std::int64_t microseconds) {
    RkTimePeriod period;
    period.m_microseconds = microseconds;
    return period;
}

RkTimePeriod RkTimePeriod::operator+(const RkTimePeriod& other) const {
    return FromMicroSeconds(Saturated(WideCount{m_microseconds} + other.m_microseconds));
}

RkTimePeriod RkTimePeriod::operator-(const RkTimePeriod& other) const {
    return FromMicroSeconds(Saturated(WideCount{m_microseconds} - other.m_microseconds));
}
