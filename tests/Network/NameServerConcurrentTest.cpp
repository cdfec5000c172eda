#include <gtest/gtest.h>
#include <resolv.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "Network/Network/ReverseDnsCache.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkUdpSocket.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OwnNetwork.h"
#include "tests/support/TempDir.h"

constexpr const char* DNSMASQ = "/usr/sbin/dnsmasq";
const RkInetAddress NAME_SERVER("127.0.0.1", 53);

/// Makes 127.0.0.1 the only name server of this process.
bool UseOwnNameServer(const TempDir& dir) {
    std::ofstream(dir / "resolv.conf") << "nameserver 127.0.0.1\noptions timeout:30 attempts:1\n";
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount((dir / "resolv.conf").c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0 &&
           ::res_init() == 0;
}

/// Runs `work` where the name server is its own; says skipped where the system refuses that.
void WithOwnNameServer(const std::function<void()>& work) {
    const TempDir dir;
    const int result = RunInOwnNetwork([&] {
        if (!UseOwnNameServer(dir))
            return OWN_NETWORK_REFUSED;
        work();
        return 0;
    });
    if (result == OWN_NETWORK_REFUSED)
        GTEST_SKIP() << "no namespaces to be had here";
    EXPECT_EQ(result, 0);
}

TEST(NameServerTest, AnswersForwardAndReverseLookUps) {
    if (!std::filesystem::exists(DNSMASQ))
        GTEST_SKIP() << "dnsmasq is not installed";
    WithOwnNameServer([] {
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
    });
}

TEST(NameServerTest, ASlowOneBlocksOnlyThoseWhoAskIt) {
    WithOwnNameServer([] {
        RkUdpSocket slow(NAME_SERVER, RkInetAddress());
        auto& cache = ReverseDnsCache::Itself();
        std::jthread blocked([&] { EXPECT_EQ(cache.GetHostname("192.0.2.7"), ""); });
        char question[512];
        const ssize_t length = slow.Read(question, sizeof question, RkTimePeriod(0, 0, 0, 20));
        ASSERT_GT(length, 4);
        while (cache.GetBlockedCount(0) != 1)
            std::this_thread::yield();
        EXPECT_EQ(RkDnsCache::Itself().GetOneIP("127.0.0.1", true).ToString(), "127.0.0.1");  // others go on
        question[2] = static_cast<char>(question[2] | 0x80);                                  // at last an answer:
        question[3] = 3;                                                                      // no such name
        slow.Write(question, static_cast<size_t>(length));
        blocked.join();
        EXPECT_EQ(cache.GetBlockedCount(0), 0u);
        slow.Close();
    });
}
