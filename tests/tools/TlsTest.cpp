#include <gmock/gmock.h>

#include "tests/support/Qornet.h"
#include "tests/support/TempDir.h"

using ::testing::AllOf;
using ::testing::HasSubstr;

TEST(TlsTest, TheDevelopmentCertificatesServeAndVerify) {
    const TempDir dir;
    ASSERT_EQ(RunProgram({"../scripts/dev-certs", dir / "", "localhost"}).status, 0);
    for (const std::string kind : {"ecdsa", "rsa"}) {
        const std::string base = dir / ("server-" + kind);
        QornetServer server("https", {"serve", "--port", "0", "--cert", base + ".pem", "--key", base + ".key"});
        const Finished probe = Qornet({"tls", "--ca", dir / "ca.pem", "localhost:" + std::to_string(server.Port())});
        EXPECT_THAT(probe.output, AllOf(HasSubstr("protocol: TLSv1.2\n"), HasSubstr("verification: 0 ok\n")));
        EXPECT_EQ(server.Stop(), 0);
    }
}
