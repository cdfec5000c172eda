#include "Network/Network/RkSSLSocket.h"

#include <gmock/gmock.h>
#include <openssl/x509_vfy.h>

#include "Network/Network/RkSSLTimeoutSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using kstr::Crypto::StackOf_X509Cert, kstr::Crypto::X509Cert, testing::ElementsAre, testing::StartsWith;

const RkTimePeriod SECOND(0, 0, 0, 1);
const std::string VERIFICATION = "Failing SSL Verification.  ", CONNECTION = "Failing SSL connection.  ";

struct RkSSLSocketTest : testing::Test {
    RkSSLSocketTest() {
        m_identity.Write(m_dir / "good");
        MakeSelfSigned().Write(m_dir / "other");
        MakeSelfSigned({"localhost", TestCertificate::RSA}).Write(m_dir / "rsa");
    }
    std::string Check(const std::string& key) const { return RkSSLSocket(key, m_cert, false).ErrMsg(); }
    int VerifyPeer(X509Cert peer, StackOf_X509Cert trusted) {
        m_log->Clear();
        const int accepted = RkSSLSocket(&m_identity.cert, &trusted, &m_identity.key).VerifyPeerCert(peer);
        EXPECT_EQ(ERR_peek_error(), 0u) << "the queue is left empty";
        return accepted;
    }
    int CallBack(int preverifyOk, int error, const X509Cert& cert) {
        m_log->Clear();
        const std::shared_ptr<X509_STORE_CTX> raw(X509_STORE_CTX_new(), &X509_STORE_CTX_free);
        X509_STORE_CTX_init(raw.get(), nullptr, cert.Get(), nullptr);
        X509_STORE_CTX_set_error(raw.get(), error);
        X509_STORE_CTX_set_error_depth(raw.get(), 3);
        X509_STORE_CTX_set_current_cert(raw.get(), cert.Get());
        kstr::Crypto::X509StoreContext context(raw.get());
        return verifyCallback(preverifyOk, &context);
    }

    const TempDir m_dir;
    const TestCA m_ca{"One"};
    TestIdentity m_identity = MakeSelfSigned();
    const std::string m_key = m_dir / "good.key", m_cert = m_dir / "good.pem";
    const LogCapture m_log{kstr::diag::LV_ERROR};
};

TEST_F(RkSSLSocketTest, TheAddressAloneIsNotEnough) {
    const std::string text = "unable to load certificate file or private key file. |";
    EXPECT_EQ(MessageOf([] { RkSSLSocket(RkInetAddress(), true); }), text);
    EXPECT_EQ(MessageOf([] { RkSSLTimeoutSocket(RkInetAddress(), SECOND, SECOND, SECOND, true); }), text);
    const std::string line =
        "Failing certificate or private key file read.  Unable to load certificate or private key file.";
    EXPECT_THAT(m_log->Messages(), ElementsAre(line, line));
}

TEST_F(RkSSLSocketTest, CredentialsThatDoNotLoadOrMatchThrow) {
    const std::string load = "unable to load certificate or private key file, unable to read ";
    TestIdentity other = MakeSelfSigned();
    StackOf_X509Cert none;
    EXPECT_THAT(MessageOf([&] { RkSSLSocket(m_dir / "none", m_cert, true); }), StartsWith(load + (m_dir / "none")));
    EXPECT_THAT(MessageOf([] { RkSSLSocket(); }), StartsWith(load + "./cert.pem"));
    EXPECT_EQ(MessageOf([&] { RkSSLSocket(m_dir / "other.key", m_cert, true); }),
              "private key does not match the certificate public key|");
    EXPECT_EQ(MessageOf([&] { RkSSLSocket(&m_identity.cert, &none, &other.key); }),
              "unable to set certificate and key on context|");
    const std::string line = "Unable to load certificate or private key file.";
    EXPECT_THAT(m_log->Messages(), ElementsAre(line, line, "Private key does not match the certificate public key.",
                                               "Error: private key does not match the certificate public key"));
}

TEST_F(RkSSLSocketTest, OnlyCheckingTheFilesThrowsNothing) {
    EXPECT_EQ(Check(m_key), "");
    for (const std::string other : {"other.key", "rsa.key"})
        EXPECT_EQ(Check(m_dir / other), "Private key does not match the certificate public key.");
    EXPECT_THAT(Check(m_cert), StartsWith(" unable to read a private key"));
    EXPECT_EQ(m_log->Messages()[2], "Unable to load private key file.");
}

TEST_F(RkSSLSocketTest, TellsOfMissingPathsInItsOwnSpelling) {
    EXPECT_EQ(Check(""), "Unable to load certificate or priavate key file.");
}

TEST_F(RkSSLSocketTest, NothingGoesBeforeASession) {
    RkSSLSocket socket(m_key, m_cert, true);
    char byte = 0;
    EXPECT_EQ(MessageOf([&] { socket.Read(&byte, 1); }), "read failed - ssl buffer is null|");
    EXPECT_EQ(MessageOf([&] { socket.Write(&byte, 1); }), "write failed - ssl buffer is null|");
    EXPECT_EQ(socket.Read(&byte, 1, SECOND), -1);
    EXPECT_FALSE(socket.IsOpen()) << "asking for a time-out opens nothing";
    EXPECT_FALSE(socket.setSocketTimeout(-1, 1));
    EXPECT_THAT(m_log->Messages(),
                ElementsAre("Read error, no session", "setSocketTimeout: failed to set receive timeout"));
}

TEST_F(RkSSLSocketTest, AssignmentLosesWhatTheTargetHeld) {
    struct Exposed : RkSSLSocket {
        using RkSSLSocket::m_pCtx;
        using RkSSLSocket::RkSSLSocket;
    };
    Exposed target(m_key, m_cert, true), source(m_key, m_cert, true);
    const std::unique_ptr<kstr::Crypto::SSLContext> lost(target.m_pCtx.get());  // released here instead
    const auto* const moved = source.m_pCtx.get();
    target = source;
    EXPECT_EQ(target.m_pCtx.get(), moved);
    EXPECT_EQ(source.m_pCtx, nullptr);
}

TEST_F(RkSSLSocketTest, LogsEachListedAuthorityInOrder) {
    const TestCA twin("One"), other("Other");
    const std::string none =
        VERIFICATION + "Received certificate either could not find valid issuer or failed to be verified by the key.";
    const std::string badKey = VERIFICATION + "The certificate failed to be verified by the key.";
    const std::string foreign =
        VERIFICATION +
        "Received certificate could not find valid issuer. PeerIssuer : /CN=One  local issuer: /CN=Other";
    const std::tuple<std::vector<const TestCA*>, int, std::vector<std::string>> cases[] = {
        {{}, 0, {none}},
        {{&m_ca}, 1, {}},
        {{&other, &twin}, 0, {foreign, badKey, none}},
        {{&other, &twin, &m_ca, &other}, 1, {foreign, badKey}}};  // looks no further than the one that fits
    for (const auto& [authorities, accepted, lines] : cases) {
        StackOf_X509Cert trusted;
        for (const TestCA* ca : authorities)
            trusted.push(ca->Cert());
        EXPECT_EQ(VerifyPeer(m_ca.Issue().cert, trusted), accepted);
        EXPECT_EQ(m_log->Messages(), lines);
    }
}

TEST_F(RkSSLSocketTest, AcceptsACertificateOutOfItsTime) {
    EXPECT_EQ(VerifyPeer(m_ca.Issue({"old", TestCertificate::RSA, -20, -10}).cert, m_ca.Stack()), 1);
    EXPECT_THAT(m_log->Messages(), ElementsAre(VERIFICATION + "Received certificate with bad not-after."));
    EXPECT_EQ(VerifyPeer(m_ca.Issue({"early", TestCertificate::ECDSA, 100, 200}).cert, m_ca.Stack()), 1);
    EXPECT_THAT(m_log->Messages(), ElementsAre(VERIFICATION + "Received certificate with bad not-before."));
    X509* const raw = m_identity.cert.Get();
    for (ASN1_TIME* time : {X509_getm_notBefore(raw), X509_getm_notAfter(raw)})
        ASN1_STRING_set(time, "nonsense", -1);
    X509_sign(raw, m_identity.key.Get(), EVP_sha256());
    StackOf_X509Cert itself;
    itself.push(m_identity.cert);
    EXPECT_EQ(VerifyPeer(m_identity.cert, itself), 1);
    EXPECT_EQ(m_log->Messages().size(), 2u) << "bad at either end";
}

TEST_F(RkSSLSocketTest, LogsEveryCertificateOfAChain) {
    EXPECT_EQ(CallBack(7, 10, m_identity.cert), 7);
    EXPECT_THAT(m_log->Messages(), ElementsAre("Certificate received from peer has errors. Cert Details:\n" +
                                               m_identity.cert.GetCertDetails() + "\nDepth = 3\nError = 10"));
}

TEST_F(RkSSLSocketTest, NamesTheErrorOfAChainAndLetsItStand) {
    const auto cert = m_ca.Issue().cert;
    const std::string before = CONNECTION + "Received cert with invalid not-before.  Check system time.";
    const std::string after = CONNECTION + "Received cert with invalid not-after.  Check system time.";
    const std::pair<int, std::string> cases[] = {
        {2, CONNECTION + "Unable to get Issuer certificate. Issuer: CN=One"},
        {9, before},
        {13, before},
        {10, after},
        {14, after},
        {18, "Error in cert negotiation.  Error = 18 self-signed certificate"}};
    for (const auto& [error, line] : cases) {
        EXPECT_EQ(CallBack(0, error, cert), 0);
        EXPECT_EQ(m_log->Messages().back(), line);
    }
    EXPECT_EQ(CallBack(0, 2, {}), 0);
    EXPECT_EQ(m_log->Messages().size(), 1u) << "without a certificate nothing is said of its issuer";
}
