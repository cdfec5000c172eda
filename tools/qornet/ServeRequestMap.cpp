#include "ServeRequestMap.h"

#include <chrono>
#include <utility>

#include "ServeRequest.h"
#include "ServeStatistics.h"

ServeRequestMap::ServeRequestMap(const std::string& root, ServeStatistics& statistics)
    : RkHttpRequestMap(root), m_statistics(statistics) {}

void ServeRequestMap::dispatchRequest(std::string filename, RkHttpRequest& request, RkBStream& stream) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    if (!static_cast<ServeRequest&>(request).BeginAnswer())
        return;
    try {
        RkHttpRequestMap::dispatchRequest(std::move(filename), request, stream);
    } catch (...) {
        m_statistics.CountAborted();
        throw;
    }
    m_statistics.CountAnswer(request.getAnswerStatus(), request.getAnswerBytes(), Clock::now() - begin);
}
