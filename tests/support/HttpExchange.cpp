#include "tests/support/HttpExchange.h"

#include <sys/socket.h>

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
    : PlainConnection(-1), m_request(MakePair(m_fd), map, trace, timeout) {}

void HttpExchange::Send(const std::string& text) {
    Write(text);
    ShutdownWrite();
}

std::string HttpExchange::Run() {
    m_request.Run();
    std::string answer;
    char data[65536];
    for (ssize_t count; (count = ::recv(m_fd, data, sizeof data, MSG_DONTWAIT)) > 0;)
        answer.append(data, static_cast<size_t>(count));
    return answer;
}

bool HttpExchange::PeerSeesTheEnd() {
    char byte;
    return ::recv(m_fd, &byte, 1, MSG_DONTWAIT) == 0;
}

std::string Exchange(RkHttpRequestMap& map, const std::string& request) {
    HttpExchange exchange(map);
    exchange.Send(request);
    return exchange.Run();
}
