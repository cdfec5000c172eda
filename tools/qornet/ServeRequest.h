#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "BodyCgi.h"
#include "Network/HTTP/RkHttpRequest.h"

class ServeServer;

/// One connection of `qornet serve`: an RkHttpRequest that can tell other threads who the peer is, how old it is and how
/// far it has come.
class ServeRequest : public RkHttpRequest {
public:
    using Clock = std::chrono::steady_clock;

    enum class Phase {
        QUEUED,     ///< waits for a pool thread
        READING,    ///< TLS handshake, wait for the request, head
        LATE,       ///< was ended before its head was complete
        BODY,       ///< the head is complete, a form body is being read
        ANSWERING,  ///< the handler works and the answer goes out
        CLOSING
    };

    /// To be made in the server's thread. @param socket  accepted; owned from here on
    ServeRequest(RkTcpSocket* socket, ServeServer& server);
    ~ServeRequest() override;

    void Run() override;

    /// Prints peer, age and phase.
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override;

    /// As the base; asked for a body's length, the head is complete.
    int getIntValueForName(const std::string& name) override;

    /// As the base, but keeps a body's text besides.
    RkCgi& getCgi() override;

    /// @return the form body as it came; empty when there was none
    std::string GetBody() const { return m_cgi ? m_cgi->GetBody() : std::string(); }

    /// Told by the map when the request is complete. @return false if it came too late to be answered
    bool BeginAnswer() { return Advance(Phase::ANSWERING); }

    /// Ends the connection if its head is not complete yet. To be called while the connection is in the server's table.
    void EndIfHeadPending();

    const RkInetAddress& GetPeer() const { return m_peer; }
    Clock::time_point GetAccepted() const { return m_accepted; }
    Phase GetPhase() const { return m_phase; }
    bool IsHeadPending() const { return GetPhase() <= Phase::READING; }

    static const char* GetName(Phase phase);

private:
    bool Advance(Phase next);
    void CountUnanswered();

    ServeServer& m_server;
    const RkInetAddress m_peer;
    const Clock::time_point m_accepted = Clock::now();
    std::atomic<Phase> m_phase{Phase::QUEUED};
    std::unique_ptr<BodyCgi> m_cgi;  ///< of a POST only, made when first asked for; for the running thread
};
