#pragma once

#include <string>

#include "Network/HTTP/RkHttpRequest.h"
#include "tests/support/TestClient.h"

/// One end of a socket pair in an RkHttpRequest, the other in the test's hand: requests run in the test's own thread.
class HttpExchange : PlainConnection {
public:
    explicit HttpExchange(RkHttpRequestMap& map, unsigned timeout = 0, RkTrace* trace = nullptr)
        : PlainConnection(-1), m_request(MakePair(m_fd), map, trace, timeout) {}

    /// Sends `text` (what a socket buffer holds at most) and then the end of the stream.
    void Send(const std::string& text) {
        Write(text);
        ShutdownWrite();
    }
    /// Runs the request. @return all that it answered, at most what a socket buffer holds
    std::string Run() {
        m_request.Run();
        std::string answer;
        for (std::string more; !(more = Receive(MSG_DONTWAIT)).empty();)
            answer += more;
        return answer;
    }
    /// @return whether the request has closed its socket; to be asked after everything was read
    bool PeerSeesTheEnd() {
        char byte;
        return ::recv(m_fd, &byte, 1, MSG_DONTWAIT) == 0;
    }
    void ClosePeer() { Close(); }
    RkHttpRequest& Request() { return m_request; }

private:
    static RkTcpSocket* MakePair(int& peer) {
        int ends[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
        peer = ends[0];
        auto* const socket = new RkTcpSocket;
        socket->SetHandle(ends[1]);
        return socket;
    }

    RkHttpRequest m_request;
};

/// Lets a request of these bytes run over `map`. @return the answer
inline std::string Exchange(RkHttpRequestMap& map, const std::string& request) {
    HttpExchange exchange(map);
    exchange.Send(request);
    return exchange.Run();
}
