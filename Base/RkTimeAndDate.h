#pragma once

#include <chrono>
#include <iosfwd>

#include "Base/QorBaseExport.h"

/// A point in wall-clock time, for people to read.
class QOR_BASE_EXPORT RkTimeAndDate {
public:
    /// The system's clock at this moment. It may be set back: spans of time are measured with another clock.
    static RkTimeAndDate Now();

    /// Writes local time, as in 2024-05-31 13:07:09.
    friend QOR_BASE_EXPORT std::ostream& operator<<(std::ostream& stream, const RkTimeAndDate& time);

private:
    explicit RkTimeAndDate(std::chrono::system_clock::time_point time) : m_time(time) {}

    std::chrono::system_clock::time_point m_time;
};
