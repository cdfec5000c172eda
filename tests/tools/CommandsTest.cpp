#include <gmock/gmock.h>

#include <vector>

#include "tests/support/Qornet.h"

using testing::HasSubstr, testing::IsEmpty;

TEST(CommandsTest, PrintsOneFieldALine) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--version"}, "qornet 1.0.0\n"},
        {{"hash", "hello"}, "x86_32: 248bfa47\n"},
        {{"hash", "--seed", "0x2a", "--", "-x"}, "x86_32: 7e15fe5f\n"},
        {{"hash", "--x86-128", "hello"}, "x86_128: 2b2444a0db91def79adb31b69adb31b6\n"},
        {{"hash", "--x64-128", "hello"}, "x64_128: cbd8a7b341bd9b025b1e906a48ae1d19\n"},
        {{"cgi", "a=1&b=x%20y&flag"}, "a: 1\nb: x y\nflag: \n"},
        {{"cgi", "rk-encdata=cD0x"}, "p (encoded): 1\n"},
        {{"url", "http://u:p@H:81/a/../b.HTML?x#top"},
         "url: http://u:p@H:81/a/../b.HTML?x#top\ndecoded: http://u:p@H:81/a/../b.HTML?x#top\nprotocol: http\n"
         "user: u\npassword: p\nhost: h\nport: 81\ndefault port: 80\nfile: b.HTML?x\nextension: html\nanchor: top\n"
         "service: 2\n"},
        {{"directory", "LDAP://srv DC=A, DC=b/j"},
         "type: LDAP\nserver: srv\ndomain: DC=A, DC=b\nwithin: DC=A,DC=b\nwithin: DC=b\nend: j\n"
         "key: ldap://dc=a, dc=b/j\n"},
        {{"range", "1.2.3.4/24"}, "range: 1.2.3.4-1.2.3.255\n"},
        {{"resolve", "--v4", "localhost", "localhost"},
         "localhost: 127.0.0.1\nlocalhost: 127.0.0.1\nforward hits: 1\nreverse hits: 0\n"},
    };
    for (const auto& [arguments, output] : cases) {
        const Finished ran = Qornet(arguments);
        EXPECT_EQ(ran.output, output) << arguments[0];
        EXPECT_EQ(ran.status, 0) << ran.errors;
        EXPECT_THAT(ran.errors, IsEmpty());
    }
}

TEST(CommandsTest, TellsWhatWasWrongAndHow) {
    ExpectRefusals({
        {{}, 2, "subcommand is required"},
        {{"hash"}, 2, "TEXT is required"},
        {{"hash", "--x86-128", "--x64-128", "a"}, 2, "excludes"},
        {{"serve", "--port", "70000"}, 2, "--port"},
        {{"serve", "--drain", "-1"}, 2, "--drain"},
        {{"serve", "--log", "loud"}, 2, "--log"},
        {{"serve", "--nonsense"}, 2, "--nonsense"},
        {{"visits", "/nonexistent"}, 1, "'/nonexistent'"},
        {{"visits", "/"}, 1, "cannot read"},
        {{"visits", "--delay", "-1"}, 2, "--delay: Value -1 not in range 0 to 1000000000\n"},
        {{"range", "1.0.0.0/99"}, 1, "'1.0.0.0/99' is no range: its prefix length is bigger than address size (ipv4)"},
        {{"range", "2.0.0.0-1.0.0.0"}, 1, "Start of range is larger than end of range"},
        {{"echo", "udp", "--address", "192.0.2.1"}, 1, "192.0.2.1"},
        {{"serve", "--port", "0", "--root", "/nonexistent"}, 1, "--root"},
        {{"serve", "--port", "0", "--address", "::1"}, 1, "--address"},
        {{"serve", "--port", "0", "--port-file", "/nonexistent/port"}, 1, "--port-file"},
        {{"resolve", "no-such-name.invalid"}, 1, "no-such-name.invalid does not resolve"},
    });
}

TEST(CommandsTest, ExplainsItselfAtEveryLevel) {
    EXPECT_THAT(Qornet({"--help"}).output, HasSubstr("serve"));
    const Finished ran = Qornet({"serve", "--help"});
    EXPECT_THAT(ran.output, HasSubstr("Usage: "));
    EXPECT_EQ(ran.status, 0);
}

TEST(CommandsTest, FailsWhenItsOutputCannotBeWritten) {
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", QORNET_PATH " hash a > /dev/full"}).status, 1);
}
