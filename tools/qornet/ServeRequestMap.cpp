#include "ServeRequestMap.h"

#include <chrono>
#include <utility>

#include "AccessLog.h"
#include "ServeRequest.h"
#include "ServeStatistics.h"

ServeRequestMap::ServeRequestMap(const std::string& root, ServeStatistics& statistics, AccessLog* log)
    : RkHttpRequestMap(root), m_statistics(statistics), m_log(log) {}

void ServeRequestMap::dispatchRequest(std::string filename, RkHttpRequest& request, RkBStream& stream) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    auto& served = static_cast<ServeRequest&>(request);
    if (!served.BeginAnswer())
        return;
    try {
        RkHttpRequestMap::dispatchRequest(std::move(filename), request, stream);
    } catch (...) {
        m_statistics.CountAborted();
        if (m_log)
            m_log->Add(served);
        throw;
    }
    if (m_log)
        m_log->Add(served);
    m_statistics.CountAnswer(request.getAnswerStatus(), request.getAnswerBytes(), Clock::now() - begin);
}
