// TLS between two threads of one process over a pair of local sockets: this library's socket against a bare OpenSSL loop,
// with the same bare loop at the other end. Handshakes are full ones; GROUP/limit is the bare loop.
#include <benchmark/benchmark.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include "Network/Network/RkSSLSocket.h"
#include "examples/DemoCertificate.h"

namespace {

constexpr size_t CHUNK = 64 << 10;

enum Kind { ECDSA, RSA };

const DemoCertificate& Credentials(Kind kind) {
    static const DemoCertificate ecdsa("localhost"), rsa("localhost", EVP_RSA_gen(2048));
    return kind == RSA ? rsa : ecdsa;
}

using ContextPtr = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

ContextPtr MakeBareContext(Kind kind) {
    ContextPtr context(SSL_CTX_new(TLS_method()), &SSL_CTX_free);
    SSL_CTX_set_max_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
    SSL_CTX_set_cipher_list(context.get(), "TLSv1.2+ECDSA:AES256-SHA256");
    SSL_CTX_use_certificate(context.get(), Credentials(kind).cert.Get());
    SSL_CTX_use_PrivateKey(context.get(), Credentials(kind).key.Get());
    return context;
}

/// One end by OpenSSL alone.
class BareEnd {
public:
    BareEnd(Kind kind, int fd) : m_ssl(SSL_new(Context(kind)), &SSL_free) { SSL_set_fd(m_ssl.get(), fd); }
    void Accept() { SSL_accept(m_ssl.get()); }
    void Connect() { SSL_connect(m_ssl.get()); }
    ssize_t Read(char* data, size_t size) { return SSL_read(m_ssl.get(), data, static_cast<int>(size)); }
    ssize_t Write(const char* data, size_t size) { return SSL_write(m_ssl.get(), data, static_cast<int>(size)); }

private:
    static SSL_CTX* Context(Kind kind) {
        static const ContextPtr contexts[] = {MakeBareContext(ECDSA), MakeBareContext(RSA)};
        return contexts[kind].get();
    }

    std::unique_ptr<SSL, decltype(&SSL_free)> m_ssl;
};

/// One end by this library, made as a server makes it for each connection.
class OurEnd : public RkSSLSocket {
public:
    OurEnd(Kind kind, int fd) : RkSSLSocket(NoCredentials()) {
        m_pCtx->UseCert(Credentials(kind).cert);
        m_pCtx->UsePrivateKey(Credentials(kind).key);
        SetHandle(fd);
    }
    using RkSSLSocket::Accept;
    void Accept() { AcceptSocket(); }
};

/// A pair of connected sockets, closed at the end.
struct Pair {
    Pair() { (void)!::socketpair(AF_UNIX, SOCK_STREAM, 0, fds.data()); }
    ~Pair() {
        ::close(fds[0]);
        ::close(fds[1]);
    }
    std::array<int, 2> fds{};
};

template <class Server>
void Handshake(benchmark::State& state) {
    const auto kind = static_cast<Kind>(state.range(0));
    BareEnd(kind, -1);  // makes credentials and context once
    for (auto _ : state) {
        Pair pair;
        std::thread client([&] { BareEnd(kind, pair.fds[1]).Connect(); });
        Server server(kind, pair.fds[0]);
        server.Accept();
        client.join();
    }
    state.SetItemsProcessed(state.iterations());
}

/// Moves bytes between a bare client and the server under test.
template <class Server>
void Bulk(benchmark::State& state, bool serverSends) {
    const auto kind = static_cast<Kind>(state.range(0));
    Pair pair;
    Server server(kind, pair.fds[0]);
    std::thread other([&] {
        BareEnd client(kind, pair.fds[1]);
        client.Connect();
        std::string data(CHUNK, 'x');
        while ((serverSends ? client.Read(data.data(), CHUNK) : client.Write(data.data(), CHUNK)) > 0) {}
    });
    server.Accept();
    std::string data(CHUNK, 'x');
    ssize_t moved = 0;
    for (auto _ : state)
        moved += serverSends ? server.Write(data.data(), CHUNK) : server.Read(data.data(), CHUNK);
    state.SetBytesProcessed(moved);
    ::shutdown(pair.fds[0], SHUT_RDWR);
    other.join();
}

template <class Server>
void Register(const std::string& name) {
    for (const Kind kind : {ECDSA, RSA}) {
        const std::string end = "/" + name + (kind == RSA ? "/rsa" : "/ecdsa");
        benchmark::RegisterBenchmark(("tls_handshake" + end).c_str(), &Handshake<Server>)->Arg(kind)->UseRealTime();
        benchmark::RegisterBenchmark(("tls_write" + end).c_str(), [](benchmark::State& s) { Bulk<Server>(s, true); })
            ->Arg(kind)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("tls_read" + end).c_str(), [](benchmark::State& s) { Bulk<Server>(s, false); })
            ->Arg(kind)
            ->UseRealTime();
    }
}

const bool registered = [] {
    std::signal(SIGPIPE, SIG_IGN);  // the bare ends raise it
    Register<OurEnd>("ours");
    Register<BareEnd>("limit");
    return true;
}();

}  // namespace
