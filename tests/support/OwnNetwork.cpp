#include "tests/support/OwnNetwork.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

bool BringLoopbackUp() {
    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    char name[] = "lo";
    ifreq interface {};
    std::strcpy(interface.ifr_name, name);
    interface.ifr_flags = IFF_UP | IFF_RUNNING;
    rtentry everything{};
    everything.rt_dst.sa_family = AF_INET;
    everything.rt_genmask.sa_family = AF_INET;
    everything.rt_flags = RTF_UP;
    everything.rt_dev = name;
    const bool up = ::ioctl(control, SIOCSIFFLAGS, &interface) == 0 && ::ioctl(control, SIOCADDRT, &everything) == 0;
    ::close(control);
    return up;
}

bool EnterOwnNetwork() {
    return (::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) && BringLoopbackUp();
}

}  // namespace

int RunInOwnNetwork(const std::function<int()>& work) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const int result = EnterOwnNetwork() ? work() : OWN_NETWORK_REFUSED;
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 1 : result);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
