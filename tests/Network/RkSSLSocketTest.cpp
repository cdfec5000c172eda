#include "Network/Network/RkSSLSocket.h"

#include <gmock/gmock.h>
#include <openssl/x509_vfy.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkSSLTimeoutSocket.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using kstr::Crypto::StackOf_X509Cert;
using kstr::Crypto::X509StoreContext;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

const RkTimePeriod SECOND(0, 0, 0, 1);

/// The whole text of the exception, its ending NUL shown as "|"; empty if none came.
std::string Failure(const std::function<void()>& action) {
    try {
        action();
        return "";
    } catch (const RkNetworkException& e) {
        std::string text = e.GetMessage();
        EXPECT_EQ(text.back(), '\0');
        text.back() = '|';
        return text;
    }
}

}  // namespace

class RkSSLSocketTest : public ::testing::Test {
protected:
    RkSSLSocketTest() { MakeSelfSigned().Write(m_dir / "good"); }

    TempDir m_dir;
    std::string m_key = m_dir / "good.key", m_cert = m_dir / "good.pem";
    LogCapture m_log{kstr::diag::LV_ERROR};
};

TEST_F(RkSSLSocketTest, TheAddressAloneIsNotEnough) {
    const std::string text = "unable to load certificate file or private key file. |";
    EXPECT_EQ(Failure([] { RkSSLSocket(RkInetAddress(), true); }), text);
    EXPECT_EQ(Failure([] { RkSSLTimeoutSocket(RkInetAddress(), SECOND, SECOND, SECOND, true); }), text);
    EXPECT_TRUE(
        m_log->Has("Failing certificate or private key file read.  Unable to load certificate or private key file."));
}

TEST_F(RkSSLSocketTest, FilesThatDoNotLoadThrow) {
    MakeSelfSigned().Write(m_dir / "other");
    const std::string load = "unable to load certificate or private key file, unable to ";
    EXPECT_THAT(Failure([&] { RkSSLSocket(m_dir / "none", m_cert, true); }),
                StartsWith(load + "read " + (m_dir / "none")));
    EXPECT_THAT(Failure([&] { RkSSLSocket(m_cert, m_key, true); }), StartsWith(load + "read a certificate"));
    EXPECT_EQ(Failure([&] { RkSSLSocket(m_dir / "other.key", m_cert, true); }),
              "private key does not match the certificate public key|");
    EXPECT_THAT(m_log->Messages(), ElementsAre("Unable to load certificate or private key file.",
                                               "Unable to load certificate or private key file.",
                                               "Private key does not match the certificate public key."));
}

TEST_F(RkSSLSocketTest, TheDefaultFilesAreInTheWorkingFolder) {
    const auto before = std::filesystem::current_path();
    std::filesystem::copy_file(m_key, m_dir / "key.pem");
    std::filesystem::copy_file(m_cert, m_dir / "cert.pem");
    std::filesystem::current_path(m_dir / "");
    EXPECT_EQ(Failure([] { RkSSLSocket(); }), "");
    std::filesystem::current_path(before);
    EXPECT_THAT(Failure([] { RkSSLSocket(); }), HasSubstr("./cert.pem"));
}

TEST_F(RkSSLSocketTest, OnlyCheckingTheFilesThrowsNothing) {
    MakeSelfSigned().Write(m_dir / "other");
    const auto check = [](const std::string& key, const std::string& cert) {
        return RkSSLSocket(key, cert, false).ErrMsg();
    };
    EXPECT_EQ(check(m_key, m_cert), "");
    EXPECT_EQ(check(m_dir / "other.key", m_cert), "Private key does not match the certificate public key.");
    m_log->Clear();
    EXPECT_THAT(check(m_cert, m_cert), StartsWith(" unable to read a private key"));
    EXPECT_EQ(m_log->Messages().front(), "Unable to load private key file.");
}

TEST_F(RkSSLSocketTest, TellsOfMissingPathsInItsOwnSpelling) {
    EXPECT_EQ(RkSSLSocket("", m_cert, false).ErrMsg(), "Unable to load certificate or priavate key file.");
}

TEST_F(RkSSLSocketTest, ObjectsThatDoNotMatchThrow) {
    TestIdentity one = MakeSelfSigned(), two = MakeSelfSigned();
    StackOf_X509Cert none;
    EXPECT_EQ(Failure([&] { RkSSLSocket(&one.cert, &none, &two.key); }),
              "unable to set certificate and key on context|");
    EXPECT_THAT(m_log->Messages(), ElementsAre("Error: private key does not match the certificate public key"));
    EXPECT_EQ(Failure([&] { RkSSLSocket(&one.cert, &none, &one.key, RkInetAddress(), true); }), "");
    EXPECT_EQ(Failure([&] { RkSSLSocket(&one.cert, nullptr, &one.key); }),
              "unable to load certificate file or private key file. |");
}

TEST_F(RkSSLSocketTest, NothingGoesBeforeASession) {
    RkSSLSocket socket(m_key, m_cert, true);
    char byte = 0;
    EXPECT_EQ(Failure([&] { socket.Read(&byte, 1); }), "read failed - ssl buffer is null|");
    EXPECT_EQ(Failure([&] { socket.Write(&byte, 1); }), "write failed - ssl buffer is null|");
    EXPECT_EQ(socket.Read(&byte, 1, SECOND), -1);
    EXPECT_EQ(socket.Write(&byte, 1, SECOND), -1);
    EXPECT_FALSE(socket.IsOpen()) << "asking for a time-out opens nothing";
    EXPECT_EQ(socket.Shutdown(SHUT_RDWR), -1);
}

TEST_F(RkSSLSocketTest, TimeOutsNeedADescriptor) {
    RkSSLSocket socket(m_key, m_cert, true);
    EXPECT_FALSE(socket.setSocketTimeout(-1, 1));
    EXPECT_THAT(m_log->Messages(), ElementsAre("setSocketTimeout: failed to set receive timeout"));
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

class VerifyPeerCertTest : public RkSSLSocketTest {
protected:
    int Verify(kstr::Crypto::X509Cert peer, StackOf_X509Cert trusted) {
        TestIdentity own = MakeSelfSigned();
        RkSSLSocket socket(&own.cert, &trusted, &own.key);
        return socket.VerifyPeerCert(peer);
    }
    const TestCA m_ca{"One"}, m_twin{"One"}, m_other{"Other"};
    const std::string m_start = "Failing SSL Verification.  ";
    const std::string m_none =
        m_start + "Received certificate either could not find valid issuer or failed to be verified by the key.";
    const std::string m_badKey = m_start + "The certificate failed to be verified by the key.";
    const std::string m_notOther =
        m_start + "Received certificate could not find valid issuer. PeerIssuer : /CN=One  local issuer: /CN=Other";
};

TEST_F(VerifyPeerCertTest, LogsEachListedAuthorityInOrder) {
    const auto leaf = m_ca.Issue().cert;
    const struct {
        std::vector<const TestCA*> trusted;
        int accepted;
        std::vector<std::string> lines;
    } cases[] = {
        {{}, 0, {m_none}},
        {{&m_ca}, 1, {}},
        {{&m_other}, 0, {m_notOther, m_none}},
        {{&m_twin}, 0, {m_badKey, m_none}},
        {{&m_other, &m_twin, &m_ca, &m_other}, 1, {m_notOther, m_badKey}},  // looks no further than the one that fits
    };
    for (const auto& c : cases) {
        StackOf_X509Cert trusted;
        for (const TestCA* ca : c.trusted)
            trusted.push(ca->Cert());
        EXPECT_EQ(Verify(leaf, trusted), c.accepted);
        EXPECT_EQ(m_log->Messages(), c.lines);
        m_log->Clear();
    }
}

TEST_F(VerifyPeerCertTest, AcceptsACertificateOutOfItsTime) {
    EXPECT_EQ(Verify(m_ca.Issue({"old", TestCertificate::RSA, -20, -10}).cert, m_ca.Stack()), 1);
    EXPECT_THAT(m_log->Messages(), ElementsAre(m_start + "Received certificate with bad not-after."));
    m_log->Clear();
    EXPECT_EQ(Verify(m_ca.Issue({"early", TestCertificate::ECDSA, 100, 200}).cert, m_ca.Stack()), 1);
    EXPECT_THAT(m_log->Messages(), ElementsAre(m_start + "Received certificate with bad not-before."));
}

class VerifyCallbackTest : public VerifyPeerCertTest {
protected:
    int Call(int preverifyOk, int error, const kstr::Crypto::X509Cert& cert) {
        const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> raw(X509_STORE_CTX_new(),
                                                                                  &X509_STORE_CTX_free);
        X509_STORE_CTX_init(raw.get(), nullptr, cert.Get(), nullptr);
        X509_STORE_CTX_set_error(raw.get(), error);
        X509_STORE_CTX_set_error_depth(raw.get(), 3);
        X509_STORE_CTX_set_current_cert(raw.get(), cert.Get());
        X509StoreContext context(raw.get());
        return verifyCallback(preverifyOk, &context);
    }
};

TEST_F(VerifyCallbackTest, LogsEveryCertificateOfAChain) {
    const auto cert = m_ca.Issue().cert;
    EXPECT_EQ(Call(7, 10, cert), 7);
    EXPECT_THAT(m_log->Messages(), ElementsAre("Certificate received from peer has errors. Cert Details:\n" +
                                               cert.GetCertDetails() + "\nDepth = 3\nError = 10"));
}

TEST_F(VerifyCallbackTest, NamesTheErrorAndLetsItStand) {
    const auto cert = m_ca.Issue().cert;
    const std::string start = "Failing SSL connection.  ";
    const std::string before = start + "Received cert with invalid not-before.  Check system time.";
    const std::string after = start + "Received cert with invalid not-after.  Check system time.";
    const struct {
        int error;
        std::string line;
    } cases[] = {{2, start + "Unable to get Issuer certificate. Issuer: CN=One"},
                 {9, before},
                 {13, before},
                 {10, after},
                 {14, after},
                 {18, "Error in cert negotiation.  Error = 18 self-signed certificate"}};
    for (const auto& c : cases) {
        EXPECT_EQ(Call(0, c.error, cert), 0);
        EXPECT_EQ(m_log->Messages().back(), c.line);
    }
    m_log->Clear();
    EXPECT_EQ(Call(0, 2, {}), 0);
    EXPECT_EQ(m_log->Messages().size(), 1u) << "without a certificate nothing is said of its issuer";
}
