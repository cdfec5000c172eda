// Whatever a server answers: the client reads its head or says by its own exception that it could not, keeps names clean,
// and leaves in the stream exactly what follows.
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Network/HTTP/RkHttpClient.h"
#include "Network/Network/RkNetworkException.h"

namespace {

constexpr std::size_t LONGEST = 65536;  // fits in the buffers of a connection, so that one thread can be both ends

class Listener : public RkTcpSocket {
public:
    Listener() {
        Bind(RkInetAddress("127.0.0.1", 0));
        Listen(1);
    }
};

Listener& TheListener() {
    static Listener listener;
    return listener;
}

/// Gets an answer that it sends to itself instead of a request. Both ends go with a reset, which leaves no port waiting.
class Client : public RkHttpClient {
public:
    explicit Client(const std::string& answer) : RkHttpClient(RkTimePeriod()), m_answer(answer) {}
    ~Client() override { m_peer.CloseForce(); }

    void writeRequest(const std::string&, const std::string&, const RkUrl&) override {
        TheListener().Accept(m_peer);
        m_peer.WriteExactly(m_answer.data(), m_answer.size());
        m_peer.Shutdown(SHUT_WR);
    }

private:
    const std::string& m_answer;
    RkTcpSocket m_peer;
};

void Require(bool holds) {
    if (!holds)
        std::abort();
}

void CheckNames(const RkHttpClient& client) {
    for (const auto& [name, value] : client.getResponseHeaders()) {
        Require(name.find_first_of(":\nABCDEFGHIJKLMNOPQRSTUVWXYZ") == name.npos);
        Require(name.empty() || (name.front() != ' ' && name.back() != ' '));
        Require(!value.starts_with(' ') && value.find('\n') == value.npos);
    }
}

std::string ReadBody(RkHttpClient& client) {
    std::string body;
    char chunk[4096];
    for (ssize_t count; (count = client.getStream().Read(chunk, sizeof chunk)) > 0;)
        body.append(chunk, static_cast<std::size_t>(count));
    return body;
}

void Check(const std::string& answer) {
    static const RkUrl url("http://" + TheListener().GetLocalAddress().ToString() + "/");
    Client client(answer);
    client.get(url);
    const bool hasHead = answer.size() >= 4 && strncasecmp(answer.c_str(), "http", 4) == 0;
    Require(hasHead ? answer.starts_with(client.getHttpResponse()) : client.getHttpResponse() == "HTTP/1.0 200 OK");
    Require(hasHead || client.getResponseHeaders().empty());
    CheckNames(client);
    const std::string body = ReadBody(client);
    Require(hasHead ? answer.ends_with(body) : answer == body);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string answer(reinterpret_cast<const char*>(data), std::min(size, LONGEST));
    try {
        Check(answer);
    } catch (const RkNetworkException&) {
        Require(answer.empty());  // all else has a defined meaning
    }
    return 0;
}
