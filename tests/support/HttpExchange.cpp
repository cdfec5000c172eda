#include "tests/support/HttpExchange.h"

#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace {

RkTcpSocket* MakePair(int& peer) {
    int ends[2] = {-1, -1};
    ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
    peer = ends[0];
    auto* const socket = new RkTcpSocket;
    socket->SetHandle(ends[1]);
    return socket;
}

}  // namespace

HttpExchange::HttpExchange(RkHttpRequestMap& map, unsigned timeout, RkTrace* trace)
    : m_peer(-1), m_request(MakePair(m_peer), map, trace, timeout) {}

HttpExchange::~HttpExchange() { ClosePeer(); }

void HttpExchange::ClosePeer() {
    if (m_peer != -1)
        ::close(std::exchange(m_peer, -1));
}

void HttpExchange::Send(const std::string& text) {
    (void)!::send(m_peer, text.data(), text.size(), MSG_NOSIGNAL);
    ::shutdown(m_peer, SHUT_WR);
}

std::string HttpExchange::Run() {
    m_request.Run();
    std::string answer;
    char data[65536];
    for (ssize_t count; (count = ::recv(m_peer, data, sizeof data, MSG_DONTWAIT)) > 0;)
        answer.append(data, static_cast<size_t>(count));
    return answer;
}

bool HttpExchange::PeerSeesTheEnd() {
    char byte;
    return ::recv(m_peer, &byte, 1, MSG_DONTWAIT) == 0;
}

std::string Exchange(RkHttpRequestMap& map, const std::string& request) {
    HttpExchange exchange(map);
    exchange.Send(request);
    return exchange.Run();
}
