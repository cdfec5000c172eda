#include "ServeStatistics.h"

#include <algorithm>
#include <numeric>

void ServeStatistics::CountAnswer(int status, RkUInt64 bytes, Duration latency) {
    using std::chrono::duration;
    using std::chrono::nanoseconds;
    const auto code = static_cast<std::size_t>(status);
    Add(m_answers[code < MAX_STATUS ? code : 0], 1);
    Add(m_bytes, bytes);

    const double seconds = duration<double>(latency).count();
    const auto bound = std::lower_bound(LATENCY_BOUNDS.begin(), LATENCY_BOUNDS.end(), seconds);
    Add(m_latencies[static_cast<std::size_t>(bound - LATENCY_BOUNDS.begin())], 1);
    Add(m_latencySum, static_cast<RkUInt64>(std::chrono::duration_cast<nanoseconds>(latency).count()));
}

RkUInt64 ServeStatistics::GetAnswers() const {
    return std::accumulate(m_answers.begin(), m_answers.end(), RkUInt64{0});
}

double ServeStatistics::GetLatencySum() const { return static_cast<double>(m_latencySum.load()) / 1e9; }
