#pragma once

#include <compare>
#include <cstdint>

#include "Base/QorBaseExport.h"

/// A span of time, to the microsecond, held as one signed number: about 292,000 years either way. A value type.
///
/// The zero period means "no limit" in every time-out wait of the socket classes, and a poll for events and semaphores.
class QOR_BASE_EXPORT RkTimePeriod {
public:
    /// The zero period.
    RkTimePeriod() = default;

    /// The sum of all fields; each may be negative or exceed its unit (90 seconds are a minute and a half). A sum that
    /// does not fit is held to the longest span.
    explicit(false) RkTimePeriod(int days, int hours = 0, int minutes = 0, int seconds = 0, int milliseconds = 0,
                                 int microseconds = 0);

    /// The wall-clock time as a span since 1970-01-01 00:00 UTC.
    static RkTimePeriod SinceEpoch();

    /// A span of so many microseconds.
    static RkTimePeriod FromMicroSeconds(std::int64_t microseconds) {
        RkTimePeriod period;
        period.m_microseconds = microseconds;
        return period;
    }

    /// Whole seconds of the whole span.
    std::int64_t Seconds() const { return m_microseconds / 1000000; }

    /// The rest below a second, in whole milliseconds (0 to 999).
    int MilliSeconds() const { return static_cast<int>(m_microseconds / 1000 % 1000); }

    /// The rest below a millisecond, in microseconds (0 to 999).
    int MicroSeconds() const { return static_cast<int>(m_microseconds % 1000); }

    /// The whole span, cut towards zero.
    std::int64_t TotalMilliSeconds() const { return m_microseconds / 1000; }
    std::int64_t TotalMicroSeconds() const { return m_microseconds; }

    bool IsZero() const { return m_microseconds == 0; }

    /// A result that does not fit is held to the longest span.
    RkTimePeriod operator+(const RkTimePeriod& other) const;
    RkTimePeriod operator-(const RkTimePeriod& other) const;
    auto operator<=>(const RkTimePeriod& other) const = default;

private:
    std::int64_t m_microseconds = 0;
};
