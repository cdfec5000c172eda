#include <gmock/gmock.h>

#include <csignal>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(TlsTest, TheDevelopmentCertificatesServeAndVerify) {
    const TempDir dir;
    ASSERT_EQ(RunProgram({"../scripts/dev-certs", dir / "", "localhost"}).status, 0);
    for (const std::string kind : {"ecdsa", "rsa"}) {
        const std::string start = "listening on https://127.0.0.1:", base = dir / ("server-" + kind);
        ChildProcess server({QORNET_PATH, "serve", "--port", "0", "--cert", base + ".pem", "--key", base + ".key"});
        const std::string line = server.ReadLine();
        ASSERT_THAT(line, StartsWith(start));
        const std::string port = line.substr(start.size(), line.size() - start.size() - 1);
        const Finished probe = RunProgram({QORNET_PATH, "tls", "--ca", dir / "ca.pem", "localhost:" + port});
        EXPECT_THAT(probe.output, AllOf(HasSubstr("protocol: TLSv1.2\n"), HasSubstr("verification: 0 ok\n")));
        server.Signal(SIGTERM);
        EXPECT_EQ(server.Wait(), 0);
    }
}
