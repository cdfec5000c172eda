#include "Base/RkTimeAndDate.h"

#include <ctime>
#include <ostream>

RkTimeAndDate RkTimeAndDate::Now() { return RkTimeAndDate(std::chrono::system_clock::now()); }

std::ostream& operator<<(std::ostream& stream, const RkTimeAndDate& time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time.m_time);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return stream << text;
}
