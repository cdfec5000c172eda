#include "Crypto/SSLContext.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <utility>
#include <vector>

#include "Base/BasicException.h"
#include "Crypto/CredentialFile.h"
#include "Crypto/OpenSSLErrors.h"
#include "Crypto/PeerVerification.h"
#include "Crypto/SharedContext.h"

namespace kstr::Crypto {

namespace {

using Setting = SharedContext::Setting;

std::string AddressOf(const void* object) { return std::to_string(reinterpret_cast<std::uintptr_t>(object)); }

void SetMethod(SSL_CTX* context, int version) {
    OpenSSLErrors::Require(SSL_CTX_set_min_proto_version(context, version), "unable to set protocol");
    OpenSSLErrors::Require(SSL_CTX_set_max_proto_version(context, version), "unable to set protocol");
}

void InstallCerts(SSL_CTX* context, const std::vector<X509Cert>& certs) {
    OpenSSLErrors::Require(SSL_CTX_use_certificate(context, certs.front().Get()), "unable to use certificate");
    OpenSSLErrors::Require(static_cast<int>(SSL_CTX_clear_chain_certs(context)), "unable to use certificate");
    for (size_t i = 1; i < certs.size(); ++i)
        OpenSSLErrors::Require(static_cast<int>(SSL_CTX_add1_chain_cert(context, certs[i].Get())),
                               "unable to use certificate");
}

/// OpenSSL refuses to hold a key beside a certificate that it does not match. The context is then left without a key, which
/// is what CheckPrivateKey reports.
void InstallKey(SSL_CTX* context, const EVPKey& key) {
    if (SSL_CTX_use_PrivateKey(context, key.Get()) == 1)
        return;
    const unsigned long error = ERR_peek_error();
    if (ERR_GET_LIB(error) != ERR_LIB_X509 || ERR_GET_REASON(error) != X509_R_KEY_VALUES_MISMATCH)
        OpenSSLErrors::Throw("unable to use private key");
    OpenSSLErrors::Clear();
}

}  // namespace

std::unique_ptr<SSLContext> SSLContext::Create(Method::Type method) {
    if (method != Method::TLSV12)
        throw BasicException("unable to create context: unknown method " + std::to_string(method));
    const auto make = [] { return Setting{[](SSL_CTX* context) { SetMethod(context, TLS1_2_VERSION); }}; };
    return std::unique_ptr<SSLContext>(new SSLContext(SharedContext::Start()->With("TLS 1.2", make)));
}

SSLContext::SSLContext(std::shared_ptr<const SharedContext> shared)
    : m_shared(std::move(shared)), m_verification(std::make_shared<PeerVerification>()) {}

SSLContext::~SSLContext() = default;

void SSLContext::SetCipherString(const char* ciphers) {
    const std::string list(ciphers);
    const auto apply = [list](SSL_CTX* context) {
        OpenSSLErrors::Require(SSL_CTX_set_cipher_list(context, list.c_str()), "unable to set cipher list");
    };
    m_shared = m_shared->With("ciphers " + list, [&apply] { return Setting{apply}; });
}

void SSLContext::UseCert(const std::string& path) {
    const std::string identity = CredentialFile::IdentityOf(path);
    m_shared = m_shared->With("certificate file " + identity, [&] {
        const CredentialFile file(path);
        return Setting{[certs = file.Certificates()](SSL_CTX* context) { InstallCerts(context, certs); },
                       file.Settled(identity)};
    });
}

void SSLContext::UseCert(const X509Cert& cert) {
    const auto apply = [cert](SSL_CTX* context) { InstallCerts(context, {cert}); };  // its copy keeps the address taken
    m_shared = m_shared->With("certificate " + AddressOf(cert.Get()), [&apply] { return Setting{apply}; });
}

void SSLContext::UsePrivateKey(const std::string& path, int type) {
    const std::string identity = CredentialFile::IdentityOf(path);
    m_shared = m_shared->With("key file " + std::to_string(type) + ' ' + identity, [&] {
        const CredentialFile file(path);
        return Setting{[key = file.PrivateKey(type)](SSL_CTX* context) { InstallKey(context, key); },
                       file.Settled(identity)};
    });
}

void SSLContext::UsePrivateKey(const EVPKey& key) {
    const auto apply = [key](SSL_CTX* context) { InstallKey(context, key); };
    m_shared = m_shared->With("key " + AddressOf(key.Get()), [&apply] { return Setting{apply}; });
}

bool SSLContext::CheckPrivateKey() const { return m_shared->HasMatchingKey(); }

void SSLContext::SetVerify(int mode, int (*callback)(int, X509StoreContext*)) {
    m_verification->mode = mode;
    m_verification->certificate = callback;
}

void SSLContext::SetCertVerifyCallback(int (*callback)(X509StoreContext*, void*), void* argument) {
    m_verification->chain = callback;
    m_verification->chainArgument = argument;
}

void SSLContext::SetVerifyHost(const std::string& host) { m_verifyHost = host; }

X509Store& SSLContext::GetCertStore() {
    if (m_store == nullptr)
        m_store = std::make_unique<X509Store>();
    return *m_store;
}

std::unique_ptr<SSLConnection> SSLContext::CreateConnection() const {
    auto connection = std::make_unique<SSLConnection>(m_shared->Get(), m_verification);
    if (m_store != nullptr)
        connection->Trust(*m_store);
    if (!m_verifyHost.empty())
        connection->DemandHost(m_verifyHost);
    return connection;
}

}  // namespace kstr::Crypto
