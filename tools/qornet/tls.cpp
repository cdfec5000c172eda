#include <memory>

#include "Commands.h"
#include "Crypto/StackOf_X509Cert.h"
#include "Diag/RkLogger.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSSLSocket.h"

namespace {

constexpr int VERIFY_PEER = 1;
constexpr int PEM = 1;

struct TlsOptions {
    std::string target, certFile, keyFile, caFile;
    int timeout = 10;
};

/// Lets every server in, so that what is wrong with its certificate can be shown.
int AcceptAnyway(int, kstr::Crypto::X509StoreContext*) { return 1; }

/// Connects as RkSSLSocket does, and has OpenSSL verify what that class does not look at.
class TlsProbe : public RkSSLSocket {
public:
    TlsProbe(const TlsOptions& options, const std::string& host) : RkSSLSocket(NoCredentials()) {
        if (!options.certFile.empty())
            Present(options.certFile, options.keyFile);
        if (options.caFile.empty())
            m_pCtx->GetCertStore().AddSystemCerts();
        else
            Trust(kstr::Crypto::StackOf_X509Cert::ReadPEM(options.caFile));
        m_pCtx->SetVerify(VERIFY_PEER, &AcceptAnyway);
        m_pCtx->SetVerifyHost(host);
    }
    ~TlsProbe() override { Close(); }

    /// @param seconds  for the connect, and for each message of the handshake that follows; 0: no limit
    void ConnectWithin(int seconds, const RkInetAddress& address) {
        Open();
        setSocketTimeout(m_sock, seconds);
        Connect(address, RkTimePeriod(0, 0, 0, seconds));
    }

    void Print() {
        const kstr::Crypto::X509Cert cert = m_pSSL->GetPeerCert();
        const int result = m_pSSL->GetVerifyResult();
        PrintField("address", GetRemoteAddress().ToString());
        PrintField("protocol", m_pSSL->GetProtocol());
        PrintField("cipher", m_pSSL->GetCipher());
        PrintField("subject", cert.GetSubjectName().GetOneLine());
        PrintField("issuer", cert.GetIssuerName().GetOneLine());
        PrintField("not before", cert.GetNotBefore().ToString());
        PrintField("not after", cert.GetNotAfter().ToString());
        PrintField("verification", std::to_string(result) + " " + kstr::Crypto::X509StoreContext::GetErrorText(result));
    }

private:
    void Present(const std::string& certFile, const std::string& keyFile) {
        m_pCtx->UseCert(certFile);
        m_pCtx->UsePrivateKey(keyFile, PEM);
        if (!m_pCtx->CheckPrivateKey())
            throw CommandFailed("the key in '" + keyFile +
                                "' does not belong to the certificate; see --cert and --key");
    }
    void Trust(const kstr::Crypto::StackOf_X509Cert& authorities) {
        for (unsigned long i = 0; i < authorities.size(); ++i)
            m_pCtx->GetCertStore().AddCert(authorities[i]);
    }
};

/// Connects the probe, or tells in words why not.
void Connect(TlsProbe& probe, const RkInetAddress& address, const TlsOptions& options) {
    try {
        probe.ConnectWithin(options.timeout, address);
    } catch (const RkNetworkException& failure) {
        const std::string reason = Reason(failure);
        const bool timedOut = options.timeout != 0 && reason.find("timed out") != std::string::npos;
        throw CommandFailed(options.target + ": " + reason + (timedOut ? "; see --timeout" : ""));
    }
}

void Probe(const TlsOptions& options) {
    const auto [host, port] = ParseHostAndPort(options.target);
    RkInetAddress address = RkDnsCache::Itself().GetOneIP(host, true);
    if (address.IsAnyAddress())
        throw CommandFailed("'" + host + "' is no IPv4 address and resolves to none");
    address.SetPort(port);
    kstr::diag::RkLogger::setLevel("", kstr::diag::LV_OFF);  // exceptions tell it all
    TlsProbe probe(options, host);
    Connect(probe, address, options);
    probe.Print();
    probe.Shutdown(SHUT_WR);
}

}  // namespace

void AddTls(CLI::App& app) {
    auto options = std::make_shared<TlsOptions>();
    CLI::App* command = app.add_subcommand("tls", "Connect over TLS and show what the server offers");
    CLI::Option* cert = command->add_option("--cert", options->certFile, "PEM file of a client certificate");
    CLI::Option* key = command->add_option("--key", options->keyFile, "PEM file of its private key");
    cert->needs(key);
    key->needs(cert);
    command->add_option("--ca", options->caFile, "PEM file of the authorities to trust; the system's unless given");
    command
        ->add_option("--timeout", options->timeout,
                     "Seconds to wait for the connection, then for each message of the server; 0: no limit")
        ->check(Within(0, MOST))
        ->type_name("SECONDS")
        ->capture_default_str();
    command->add_option("HOST:PORT", options->target, "The server")->required();
    command->footer("A certificate that does not verify is shown, not refused: exit status 0 with the reason printed.");
    command->callback([options] { Probe(*options); });
}
