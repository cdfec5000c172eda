#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "AccessLog.h"
#include "HeadReaper.h"
#include "Network/HTTP/RkHttpServer.h"
#include "PeerLimit.h"
#include "ServeOptions.h"
#include "ServeRequest.h"
#include "ServeRequestMap.h"
#include "ServeStatistics.h"

/// The server of `qornet serve`: an RkHttpServer that counts, shows what it does, ends late heads, refuses peers that have
/// too many connections, and lets running answers finish when it stops.
///
/// Bind, then Start; Stop may come from any thread. What it does for a request besides the library are a few atomic
/// additions and clock readings: no lock and no system call, unless a limit is set.
class ServeServer : public RkHttpServer {
public:
    using Clock = ServeRequest::Clock;

    /// What the pages show of one connection.
    struct Connection {
        RkInetAddress peer;
        double age;  ///< seconds
        const char* phase;
    };

    /// @param factory  of the accepted sockets; owned from here on; null: plain TCP
    /// @param root     document root, with a trailing slash
    ServeServer(const RkInetAddress& address, RkTcpSocketFactory* factory, const std::string& root,
                const ServeOptions& options);
    ~ServeServer() override;

    RkTcpConnection* CreateConnection(RkTcpSocket* socket) override;
    bool ValidConnection(RkTcpSocket& socket) override;

    /// Refuses new connections, gives running answers the drain time to finish, then stops as the base does.
    void Stop() override;

    const ServeOptions& GetOptions() const { return m_options; }
    ServeRequestMap& GetRequests() { return m_requests; }
    ServeStatistics& GetStatistics() { return m_statistics; }
    PeerLimit& GetPeerLimit() { return m_peers; }
    AccessLog* GetAccessLog() { return m_accessLog.get(); }  ///< null when there is none

    double GetUptime() const;  ///< seconds
    std::vector<Connection> GetConnections() const;

private:
    void AddPages();
    Clock::time_point EndLateHeads(Clock::time_point now);
    void Drain();
    bool HasRunningAnswers(Clock::time_point now) const;

    const ServeOptions m_options;
    const Clock::time_point m_started = Clock::now();
    ServeStatistics m_statistics;
    const std::unique_ptr<AccessLog> m_accessLog;
    ServeRequestMap m_requests;
    PeerLimit m_peers;
    std::atomic<bool> m_draining{false};
    std::unique_ptr<HeadReaper> m_reaper;  ///< none without a limit on heads
};
