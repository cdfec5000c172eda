#include <charconv>
#include <memory>

#include "Commands.h"
#include "Crypto/StackOf_X509Cert.h"
#include "Diag/RkLogger.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkSSLSocket.h"

namespace {

const RkTimePeriod CONNECT_TIMEOUT(0, 0, 0, 30);
constexpr int VERIFY_PEER = 1;
constexpr int PEM = 1;

struct TlsOptions {
    std::string target, certFile, keyFile, caFile;
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

RkUInt16 ParsePort(const std::string& text) {
    RkUInt16 port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port == 0)
        throw UsageError("'" + text + "' is no port; the target is HOST:PORT");
    return port;
}

void Probe(const TlsOptions& options) {
    const size_t colon = options.target.rfind(':');
    if (colon == std::string::npos)
        throw UsageError("the target is HOST:PORT");
    const std::string host = options.target.substr(0, colon);
    const RkUInt16 port = ParsePort(options.target.substr(colon + 1));
    RkInetAddress address = RkDnsCache::Itself().GetOneIP(host, true);
    if (address.IsAnyAddress())
        throw CommandFailed("'" + host + "' is no IPv4 address and resolves to none");
    address.SetPort(port);
    kstr::diag::RkLogger::setLevel("", kstr::diag::LV_OFF);  // exceptions tell it all
    TlsProbe probe(options, host);
    probe.Connect(address, CONNECT_TIMEOUT);
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
    command->add_option("HOST:PORT", options->target, "The server")->required();
    command->footer("A certificate that does not verify is shown, not refused: exit status 0 with the reason printed.");
    command->callback([options] { Probe(*options); });
}
