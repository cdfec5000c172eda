#pragma once

#include <string>

#include "Network/HTTP/RkHttpRequest.h"
#include "tests/support/TestClient.h"

/// One end of a socket pair in an RkHttpRequest, the other in the test's hand: requests run in the test's own thread.
class HttpExchange : PlainConnection {
public:
    explicit HttpExchange(RkHttpRequestMap& map, unsigned timeout = 0, RkTrace* trace = nullptr);

    /// Sends `text` (what a socket buffer holds at most) and then the end of the stream.
    void Send(const std::string& text);

    /// Runs the request. @return all that it answered, at most what a socket buffer holds
    std::string Run();

    /// @return whether the request has closed its socket; to be asked after everything was read
    bool PeerSeesTheEnd();

    void ClosePeer() { Close(); }

    RkHttpRequest& Request() { return m_request; }

private:
    RkHttpRequest m_request;
};

/// Lets a request of these bytes run over `map`. @return the answer
std::string Exchange(RkHttpRequestMap& map, const std::string& request);
