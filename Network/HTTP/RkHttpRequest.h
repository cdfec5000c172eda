#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "Base/RkTrace.h"
#include "Base/RkTypes.h"
#include "Network/HTTP/RkHttpRequestMap.h"
#include "Network/HTTP/RkHttpRequestUtils.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkTcpConnection.h"
#include "Network/Network/RkTcpSocket.h"

/// One HTTP/1.0 exchange on an accepted connection: Run waits for the request, reads it, lets the request map answer, and
/// closes. Serves exactly one request.
///
/// Owned and run by the server's pool. Handlers use it in the thread that runs it; other threads may call Stop,
/// getAnswerStatus and getAnswerBytes. A subclass calls LeaveServer first in its own destructor.
class QOR_NETWORK_EXPORT RkHttpRequest : public RkTcpConnection, public RkHttpRequestUtils {
public:
    /// @param sock        accepted, made with new; owned by the request from here on
    /// @param requestMap  borrowed; outlives the request
    /// @param pTrace      sees the traffic; borrowed, may be null
    /// @param timeout     seconds to wait for the first bytes of the request; 0: without limit
    RkHttpRequest(RkTcpSocket* sock, RkHttpRequestMap& requestMap, RkTrace* pTrace, unsigned int timeout);

    /// Closes the socket if it is still open.
    ~RkHttpRequest() override;

    /// Serves the request. Lets no exception out. When it returns, the socket is closed.
    ///
    /// A peer that sends nothing in time is reset. A head that ends early, is malformed, or exceeds 131,072 bytes in a line
    /// or 1 MiB in all, is dispatched as far as it came: an empty file name normally means the 404 page. After a request
    /// that was not read to its end the peer gets up to two seconds to take the answer and hang up.
    void Run() override;

    /// While Run runs in another thread: wakes it, and it closes the socket soon. Otherwise closes the socket at once, and a
    /// later Run does nothing.
    void Stop() override;

    /// @return the peer's address; an empty one when it cannot be told, never an RkNetworkException
    virtual const RkInetAddress getRemoteAddresss() const;

    /// Writes a record about this request, with `message` in it, to the trace; nothing when there is none or it is off.
    void trace(const std::string& message);

    /// Remembers what was answered, for access logs and counters. The request map and the default file handler call it
    /// before the answer is sent.
    /// @param status     of the answer; 0 when its first line has none
    /// @param bodyBytes  length of the answer's body
    void setAnswer(int status, RkUInt64 bodyBytes);

    int getAnswerStatus() const;      ///< 0 until it is known; safe from any thread
    RkUInt64 getAnswerBytes() const;  ///< length of the body in bytes; 0 until it is known; safe from any thread

protected:
    /// The socket to the peer, this connection's own. To be woken by other threads, used by that of Run alone.
    RkTcpSocket& GetSocket() const { return *m_socket; }

private:
    void Serve(RkBStream& stream);
    void Exchange(RkBStream& stream);
    bool WaitForFirstBytes(RkBStream& stream);
    bool TakeFirstBytes(RkBStream& stream);
    bool ReadHead(RkBStream& stream);
    bool ReadForm(RkBStream& stream);
    void AwaitPeersEnd();
    void CloseSocket();

    const std::unique_ptr<RkTcpSocket> m_socket;
    const RkHttpRequestMap& m_requestMap;
    RkTrace* const m_pTrace;
    const unsigned int m_timeout;         ///< seconds
    std::atomic<bool> m_begun{false};     ///< set by Run or Stop, whichever comes first
    std::atomic<bool> m_stopping{false};  ///< set by a Stop after that
    std::atomic<int> m_answerStatus{0};
    std::atomic<RkUInt64> m_answerBytes{0};
};
