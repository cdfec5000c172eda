#pragma once

#include "Network/HTTP/RkHttpRequestMap.h"

class AccessLog;
class ServeStatistics;

/// The request map of `qornet serve`: tells each connection when its answer begins, and counts what was answered. Its
/// requests are ServeRequests.
class ServeRequestMap : public RkHttpRequestMap {
public:
    /// @param root        document root, with a trailing slash
    /// @param statistics  borrowed; outlives the map
    /// @param log         borrowed; outlives the map; null: none
    ServeRequestMap(const std::string& root, ServeStatistics& statistics, AccessLog* log);

    void dispatchRequest(std::string filename, RkHttpRequest& request, RkBStream& stream) const override;

private:
    ServeStatistics& m_statistics;
    AccessLog* const m_log;
};
