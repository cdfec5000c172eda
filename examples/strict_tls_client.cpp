// A TLS server, and a client that checks whom it talks to. With arguments, strict_tls_client CA.pem HOST PORT, it asks
// that server for its first page.
#include <iostream>
#include <thread>

#include "Base/RkBStream.h"
#include "DemoCertificate.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "StrictTlsSocket.h"

namespace {

/// A server's socket with credentials from memory that asks clients for none.
class ServerSocket : public RkSSLSocket {
public:
    explicit ServerSocket(const DemoCertificate& credentials) : RkSSLSocket(NoCredentials()) {
        m_pCtx->UseCert(credentials.cert);
        m_pCtx->UsePrivateKey(credentials.key);
    }
};

/// Greets `clients` clients, one after another.
void Serve(RkTcpSocket& listener, const DemoCertificate& credentials, int clients) {
    for (; clients > 0; --clients) {
        ServerSocket client(credentials);
        listener.Accept(client);
        try {
            client.AcceptSocket();
            client.Write("hello over TLS\n", 15);
            client.Shutdown(SHUT_WR);  // tells the client that this is all; Close alone would not
        } catch (const RkNetworkException&) {
            // the client did not trust us
        }
        client.Close();
    }
}

/// Prints what the server says to `request`, or why it is not to be trusted.
void Ask(const RkInetAddress& server, const std::string& host, const kstr::Crypto::StackOf_X509Cert& trusted,
         const std::string& request) {
    StrictTlsSocket client(trusted, host);
    try {
        client.Connect(server);
        client.WriteExactly(request.data(), request.size());
        char text[4096];
        for (ssize_t count; (count = client.Read(text, sizeof text)) > 0;)
            std::cout.write(text, count);
    } catch (const RkException& refused) {
        std::cout << "refused as " << host << ": " << refused.what() << '\n';
    }
    client.Close();
}

void ShowItself() {
    const DemoCertificate credentials("localhost");
    kstr::Crypto::StackOf_X509Cert trusted;
    trusted.push(credentials.cert);
    RkTcpSocket listener;
    listener.Bind(RkInetAddress("127.0.0.1", 0));
    listener.Listen(10);

    std::thread server([&] { Serve(listener, credentials, 2); });
    Ask(listener.GetLocalAddress(), "localhost", trusted, "");
    Ask(listener.GetLocalAddress(), "www.example.com", trusted, "");
    server.join();
    listener.Close();
}

}  // namespace

int main(int argc, char** argv) {
    kstr::diag::RkLogger::setLevel("", kstr::diag::LV_OFF);  // the exceptions say it
    if (argc != 4)
        return ShowItself(), 0;
    RkInetAddress server = RkDnsCache::Itself().GetOneIP(argv[2], true);
    server.SetPort(static_cast<RkUInt16>(std::stoi(argv[3])));
    Ask(server, argv[2], kstr::Crypto::StackOf_X509Cert::ReadPEM(argv[1]),
        "GET / HTTP/1.0\r\nHost: " + std::string(argv[2]) + "\r\n\r\n");
}
