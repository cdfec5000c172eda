#include "Base/RkTimePeriod.h"

#include <algorithm>
#include <ctime>
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
    timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    return FromMicroSeconds(now.tv_sec * 1000000 + now.tv_nsec / 1000);
}

RkTimePeriod RkTimePeriod::operator+(const RkTimePeriod& other) const {
    return FromMicroSeconds(Saturated(WideCount{m_microseconds} + other.m_microseconds));
}

RkTimePeriod RkTimePeriod::operator-(const RkTimePeriod& other) const {
    return FromMicroSeconds(Saturated(WideCount{m_microseconds} - other.m_microseconds));
}
