#include "Crypto/X509Cert.h"

#include <gmock/gmock.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include "Base/BasicException.h"
#include "Crypto/BIOMemStream.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestCertificates.h"

using kstr::BasicException;
using kstr::Crypto::X509Cert;
using ::testing::HasSubstr;

TEST(X509CertTest, TellsNamesAndDetails) {
    const TestIdentity leaf = TestCA("Root").Issue({"www.example"});
    EXPECT_EQ(leaf.cert.GetIssuerName().GetOneLine(), "/CN=Root");
    EXPECT_EQ(leaf.cert.GetSubjectName().GetOneLine(), "/CN=www.example");
    EXPECT_THAT(leaf.cert.GetCertDetails(), HasSubstr("Issuer: CN=Root"));
    EXPECT_EQ(X509Cert().GetCertDetails(), "");

    const kstr::Crypto::BIOMemStream text;
    leaf.cert.GetSubjectName().Print(text, 2, XN_FLAG_RFC2253);
    EXPECT_EQ(text.GetText(), "  CN=www.example");
}

TEST(X509CertTest, VerifiesBySignatureAlone) {
    const TestCA ca("Same name"), other("Same name");
    const TestIdentity expired = ca.Issue({"leaf", TestCertificate::RSA, -20, -10});
    EXPECT_NO_THROW(ca.Cert().Verify(expired.cert));
    EXPECT_THROW(other.Cert().Verify(expired.cert), BasicException);
    EXPECT_EQ(ERR_peek_error(), 0u) << "the queue is left empty";
}

TEST(X509CertTest, ComparesItsTimesWithNow) {
    const auto cert = MakeSelfSigned({"leaf", TestCertificate::ECDSA, -60, 60}).cert;
    EXPECT_LT(cert.GetNotBefore().CompareWithNow(), 0);
    EXPECT_GT(cert.GetNotAfter().CompareWithNow(), 0);
    ASSERT_EQ(ASN1_STRING_set(X509_getm_notAfter(cert.Get()), "nonsense", -1), 1);
    EXPECT_EQ(cert.GetNotAfter().CompareWithNow(), 0) << "bad at either end";
}

TEST(X509CertTest, NamesTheFileThatCannotBeRead) {
    const TempDir dir;
    MakeSelfSigned().Write(dir / "good");
    const struct {
        std::string path, reason;
    } cases[] = {
        {dir / "missing", "No such file or directory"},
        {dir / "", "not a regular file"},
        {"/dev/zero", "not a regular file"},
        {dir / "good.key", "no start line"},
    };
    for (const auto& c : cases) {
        try {
            X509Cert::ReadPEM(c.path);
            ADD_FAILURE() << c.path << " was read";
        } catch (const BasicException& e) {
            EXPECT_THAT(e.GetMessage(), HasSubstr(c.path));
            EXPECT_THAT(e.GetMessage(), HasSubstr(c.reason));
        }
    }
    EXPECT_TRUE(X509Cert::ReadPEM(dir / "good.pem"));
}
