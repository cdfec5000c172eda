#include "Crypto/X509Cert.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include "Base/BasicException.h"
#include "tests/support/TestCertificates.h"

TEST(X509CertTest, VerifiesBySignatureAlone) {
    const TestCA ca("Same name"), other("Same name");
    const auto expired = ca.Issue({"leaf", TestCertificate::RSA, -20, -10}).cert;
    EXPECT_EQ(expired.GetIssuerName().GetOneLine(), other.Cert().GetSubjectName().GetOneLine());
    EXPECT_NO_THROW(ca.Cert().Verify(expired));
    EXPECT_THROW(other.Cert().Verify(expired), kstr::BasicException);
    EXPECT_EQ(ERR_peek_error(), 0u) << "the queue is left empty";
}

TEST(X509CertTest, ATimeThatCannotBeReadIsBadAtEitherEnd) {
    const auto cert = MakeSelfSigned({"leaf", TestCertificate::ECDSA, -60, 60}).cert;
    EXPECT_LT(cert.GetNotBefore().CompareWithNow(), 0);
    EXPECT_GT(cert.GetNotAfter().CompareWithNow(), 0);
    ASSERT_EQ(ASN1_STRING_set(X509_getm_notAfter(cert.Get()), "nonsense", -1), 1);
    EXPECT_EQ(cert.GetNotAfter().CompareWithNow(), 0);
}
