#include <gtest/gtest.h>
#include <resolv.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "Network/Network/ReverseDnsCache.h"
#include "Network/Network/RkDnsCache.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OwnNetwork.h"
#include "tests/support/TempDir.h"

constexpr const char* DNSMASQ = "/usr/sbin/dnsmasq";

/// Makes 127.0.0.1 the only name server of this process.
bool UseOwnNameServer(const TempDir& dir) {
    std::ofstream(dir / "resolv.conf") << "nameserver 127.0.0.1\noptions timeout:30 attempts:1\n";
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount((dir / "resolv.conf").c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0 &&
           ::res_init() == 0;
}

TEST(NameServerTest, AnswersForwardAndReverseLookUps) {
    if (!std::filesystem::exists(DNSMASQ))
        GTEST_SKIP() << "dnsmasq is not installed";
    const TempDir dir;
    RunInOwnNetwork([&] {
        if (!UseOwnNameServer(dir))
            return OWN_NETWORK_REFUSED;
        ChildProcess server({DNSMASQ, "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv", "--no-hosts",
                             "--user=root", "--pid-file=", "--listen-address=127.0.0.1", "--bind-interfaces",
                             "--host-record=www.qor.test,192.0.2.7,2001:db8::7"});
        // Until it listens the look-ups fail at once; failures are remembered, so they are dropped.
        while (ReverseDnsCache::Itself().GetHostname("192.0.2.7") != "www.qor.test")
            ReverseDnsCache::Itself().Clear();
        EXPECT_EQ(ReverseDnsCache::Itself().GetHostname("2001:db8::7"), "www.qor.test");
        EXPECT_EQ(RkDnsCache::Itself().GetOneIP("www.qor.test", true).ToString(), "192.0.2.7");
        EXPECT_EQ(RkDnsCache::Itself().GetAllIPs("www.qor.test", false).size(), 2u);
        EXPECT_TRUE(RkDnsCache::Itself().GetOneIP("none.qor.test", true).IsAnyAddress());
        return 0;
    });
}
