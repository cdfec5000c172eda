#pragma once

#include <gtest/gtest.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

constexpr int OWN_NETWORK_REFUSED = 77;

/// Enters a network namespace in which only the loopback interface is there, up, and takes every address.
inline bool EnterOwnNetwork() {
    if (::unshare(CLONE_NEWNET) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq interface {
        {"lo"}, {}
    };
    interface.ifr_flags = IFF_UP | IFF_RUNNING;
    rtentry everything{};
    everything.rt_dst.sa_family = AF_INET;
    everything.rt_genmask.sa_family = AF_INET;
    everything.rt_flags = RTF_UP;
    everything.rt_dev = interface.ifr_name;
    const bool up = ::ioctl(control, SIOCSIFFLAGS, &interface) == 0 && ::ioctl(control, SIOCADDRT, &everything) == 0;
    ::close(control);
    return up;
}

/// Runs `work` in a child process that has a network of its own. The caller has no other threads, and this is the last that
/// it does: the test says skipped where the system gives no namespace.
/// @param work  returns 0 for success, or OWN_NETWORK_REFUSED; may use EXPECT_..., whose failures count as well
inline void RunInOwnNetwork(const std::function<int()>& work) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const int result = EnterOwnNetwork() ? work() : OWN_NETWORK_REFUSED;
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 1 : result);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == OWN_NETWORK_REFUSED)
        GTEST_SKIP() << "no namespaces to be had here";
    EXPECT_EQ(status, 0);
}
