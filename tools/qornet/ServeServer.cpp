#include "ServeServer.h"

#include <algorithm>

#include "EchoPage.h"
#include "MetricsPage.h"
#include "StatusPage.h"
#include "StatusText.h"

namespace {

constexpr std::chrono::milliseconds DRAIN_STEP(10);

/// So long a connection that has just come may take to show that it has a request, when the server stops.
constexpr std::chrono::milliseconds FRESH(100);

template <class Visitor>
void VisitRequests(const RkTcpServer& server, const Visitor& visit) {
    server.VisitConnections([&](RkTcpConnection& connection) { visit(static_cast<ServeRequest&>(connection)); });
}

std::chrono::steady_clock::duration Seconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

ServeServer::ServeServer(const RkInetAddress& address, RkTcpSocketFactory* factory, const std::string& root,
                         const ServeOptions& options)
    : RkHttpServer(NotStarted{}, address, factory, root, options.timeout),
      m_options(options),
      m_accessLog(options.accessLog.empty() ? nullptr : std::make_unique<AccessLog>(options.accessLog)),
      m_requests(root, m_statistics, m_accessLog.get()),
      m_peers(options.maxPeer) {
    AddPages();
    if (options.maxHeadTime > 0)
        m_reaper = std::make_unique<HeadReaper>([this](Clock::time_point now) { return EndLateHeads(now); });
}

ServeServer::~ServeServer() { StopAndJoin(); }

void ServeServer::AddPages() {
    m_requests.addHandler("/status", new StatusPage(*this));
    m_requests.addHandler("/status.txt", new StatusText(*this));
    m_requests.addHandler("/metrics", new MetricsPage(*this));
    m_requests.addHandler("/echo", new EchoPage);
}

RkTcpConnection* ServeServer::CreateConnection(RkTcpSocket* socket) { return new ServeRequest(socket, *this); }

bool ServeServer::ValidConnection(RkTcpSocket& socket) {
    return !m_draining && m_peers.HasRoom(socket.GetAcceptedFrom().GetIpAddress(true));
}

void ServeServer::Stop() {
    if (!m_draining.exchange(true))
        Drain();
    RkHttpServer::Stop();
}

void ServeServer::Drain() {
    const Clock::time_point end = Clock::now() + Seconds(m_options.drain);
    while (Clock::now() < end && HasRunningAnswers(Clock::now()))
        std::this_thread::sleep_for(DRAIN_STEP);
}

bool ServeServer::HasRunningAnswers(Clock::time_point now) const {
    bool found = false;
    VisitRequests(*this, [&](ServeRequest& request) {
        const ServeRequest::Phase phase = request.GetPhase();
        const bool running = phase == ServeRequest::Phase::BODY || phase == ServeRequest::Phase::ANSWERING;
        found = found || running || now - request.GetAccepted() < FRESH;
    });
    return found;
}

ServeServer::Clock::time_point ServeServer::EndLateHeads(Clock::time_point now) {
    const Clock::duration limit = Seconds(m_options.maxHeadTime);
    Clock::time_point next = now + limit;  // a connection that comes from now on is not due before that
    VisitRequests(*this, [&](ServeRequest& request) {
        if (!request.IsHeadPending())
            return;
        const Clock::time_point due = request.GetAccepted() + limit;
        if (due <= now)
            request.EndIfHeadPending();
        else
            next = std::min(next, due);
    });
    return next;
}

double ServeServer::GetUptime() const { return std::chrono::duration<double>(Clock::now() - m_started).count(); }

std::vector<ServeServer::Connection> ServeServer::GetConnections() const {
    std::vector<Connection> connections;
    const Clock::time_point now = Clock::now();
    VisitRequests(*this, [&](ServeRequest& request) {
        const double age = std::chrono::duration<double>(now - request.GetAccepted()).count();
        connections.push_back({request.GetPeer(), age, ServeRequest::GetName(request.GetPhase())});
    });
    return connections;
}
