#include "ServeRequest.h"

#include <ostream>

#include "ServeServer.h"

ServeRequest::ServeRequest(RkTcpSocket* socket, ServeServer& server)
    : RkHttpRequest(socket, server.GetRequests(), nullptr, server.GetOptions().timeout),
      m_server(server),
      m_peer(socket->GetAcceptedFrom()) {
    m_server.GetPeerLimit().Enter(m_peer.GetIpAddress(true));
}

ServeRequest::~ServeRequest() {
    LeaveServer();
    m_server.GetPeerLimit().Leave(m_peer.GetIpAddress(true));
}

void ServeRequest::Run() {
    Advance(Phase::READING);
    RkHttpRequest::Run();
    if (GetPhase() == Phase::READING)
        CountUnanswered();
    m_phase = Phase::CLOSING;
}

/// @return false, with the phase unchanged, once the connection was ended for being late
bool ServeRequest::Advance(Phase next) {
    Phase seen = m_phase;
    while (seen != Phase::LATE && !m_phase.compare_exchange_weak(seen, next)) {}
    return seen != Phase::LATE;
}

void ServeRequest::EndIfHeadPending() {
    Phase seen = m_phase;
    while (seen <= Phase::READING) {
        if (m_phase.compare_exchange_weak(seen, Phase::LATE)) {
            m_server.GetStatistics().CountHeadTimeout();
            GetSocket().Wake();
        }
    }
}

void ServeRequest::CountUnanswered() {
    const std::chrono::seconds limit(m_server.GetOptions().timeout);
    if (limit.count() > 0 && Clock::now() - m_accepted >= limit)
        m_server.GetStatistics().CountIdleTimeout();
    else
        m_server.GetStatistics().CountAborted();
}

void ServeRequest::PrintSelf(std::ostream& stream, PrintSelfLevel) {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const auto age = duration_cast<milliseconds>(Clock::now() - m_accepted).count();
    stream << "peer: " << m_peer << " age: " << age << " ms phase: " << GetName(GetPhase()) << "\r\n";
}

int ServeRequest::getIntValueForName(const std::string& name) {
    if (GetPhase() == Phase::READING)
        Advance(Phase::BODY);
    return RkHttpRequest::getIntValueForName(name);
}

RkCgi& ServeRequest::getCgi() {
    if (!m_cgi && getMethod() == "POST")
        m_cgi = std::make_unique<BodyCgi>(RkHttpRequest::getCgi());
    return m_cgi ? *m_cgi : RkHttpRequest::getCgi();
}

const char* ServeRequest::GetName(Phase phase) {
    static constexpr const char* NAMES[] = {"queued", "reading", "late", "reading body", "answering", "closing"};
    return NAMES[static_cast<int>(phase)];
}
