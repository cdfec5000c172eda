#include "Base/RkIO.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <vector>

namespace {

using Pair = std::array<int, 2>;

/// While it lives, signals interrupt this thread's calls every 5 ms; `onSignal` is told how many there were.
class Interruptions {
public:
    explicit Interruptions(const std::function<void(int)>& onSignal) {
        s_onSignal = [onSignal, count = 0]() mutable { onSignal(++count); };
        struct sigaction action {};
        action.sa_handler = [](int) { s_onSignal(); };
        ::sigaction(SIGALRM, &action, nullptr);
        SetTimer(5000);
    }
    ~Interruptions() { SetTimer(0); }

private:
    static void SetTimer(long microseconds) {
        const itimerval timer{{0, microseconds}, {0, microseconds}};
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }
    static inline std::function<void()> s_onSignal;
};

/// Waits for input, with a set as large as the descriptor needs.
int WaitFor(int fd, std::optional<RkTimePeriod> timeout) {
    std::vector<unsigned long> words(static_cast<size_t>(fd) / 64 + 1);
    words.back() = 1UL << fd % 64;
    auto* const set = reinterpret_cast<fd_set*>(words.data());
    const int ready =
        timeout ? RkIO::Select(fd + 1, set, nullptr, nullptr, *timeout) : RkIO::Select(fd + 1, set, nullptr, nullptr);
    EXPECT_EQ(words.back() != 0, ready == 1);
    return ready;
}

Pair MakePipe() {
    Pair ends;
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    return ends;
}

SOCKET MakeSocket(int flags = 0) { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0); }

/// A socket bound to a free loopback port.
struct Bound {
    Bound() {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(RkIO::Bind(sock, GetAddress(), length), 0);
        EXPECT_EQ(::getsockname(sock, GetAddress(), &length), 0);
    }
    sockaddr* GetAddress() { return reinterpret_cast<sockaddr*>(&address); }
    int Reach(SOCKET from) { return RkIO::Connect(from, GetAddress(), sizeof address); }

    const SOCKET sock = MakeSocket();
    sockaddr_in address{};
};

}  // namespace

TEST(RkIOTest, AnInterruptedWaitLastsItsWholeTime) {
    const Pair pipe = MakePipe();
    int interrupted = 0;
    const Interruptions interruptions([&](int count) { interrupted = count; });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitFor(pipe[0], RkTimePeriod(0, 0, 0, 0, 60)), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
    EXPECT_GT(interrupted, 0);
    EXPECT_EQ(WaitFor(pipe[0], RkTimePeriod(0, 0, 0, -5)), 0);  // only looks
}

TEST(RkIOTest, AnInterruptedWaitGoesOnWithItsSets) {
    for (const auto timeout : {std::optional<RkTimePeriod>(), std::optional(RkTimePeriod(0, 1))}) {
        const Pair pipe = MakePipe();
        const Interruptions interruptions([&](int count) {
            if (count == 3)
                ::close(pipe[1]);  // the end of the input is readable
        });
        EXPECT_EQ(WaitFor(pipe[0], timeout), 1);
    }
}

TEST(RkIOTest, WaitsForDescriptorsAboveTheFixedSetSize) {
    rlimit limit;
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    if (limit.rlim_max < 6000 || ::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        GTEST_SKIP() << "the hard descriptor limit is below 6,000";
    const Pair pipe = MakePipe();
    ::close(pipe[1]);
    EXPECT_EQ(WaitFor(::fcntl(pipe[0], F_DUPFD_CLOEXEC, 5500), RkTimePeriod(0, 1)), 1);
}

TEST(RkIOTest, SendingToAClosedPeerRaisesNoSignal) {
    Pair ends;
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    EXPECT_EQ(RkIO::Close(ends[1]), 0);
    EXPECT_EQ(RkIO::Send(ends[0], "x", 1, 0), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(RkIO::SendTo(ends[0], "x", 1, 0, nullptr, 0), -1);
}

TEST(RkIOTest, TellsHowAnUnblockedConnectEnded) {
    Bound listener;
    const SOCKET refused = MakeSocket(SOCK_NONBLOCK);
    EXPECT_FALSE(RkIO::IsConnected(refused));
    EXPECT_EQ(errno, ENOTCONN);
    EXPECT_EQ(listener.Reach(refused), -1);  // nobody listens
    EXPECT_FALSE(RkIO::IsConnected(refused));
    EXPECT_EQ(errno, ECONNREFUSED);
    ASSERT_EQ(RkIO::Listen(listener.sock, 1), 0);
    const SOCKET client = MakeSocket(SOCK_NONBLOCK);
    listener.Reach(client);
    EXPECT_EQ(::fcntl(RkIO::Accept(listener.sock, nullptr, nullptr), F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(RkIO::IsConnected(client));
}

// The listener's queue is full until a signal's handler takes one out: the connect is interrupted before it can succeed.
TEST(RkIOTest, AnInterruptedConnectWaitsForItsOutcome) {
    Bound listener;
    ASSERT_EQ(RkIO::Listen(listener.sock, 0), 0);
    ASSERT_EQ(listener.Reach(MakeSocket()), 0);
    int interrupted = 0;
    const Interruptions interruptions([&](int count) {
        interrupted = count;
        if (count == 2)
            ::accept(listener.sock, nullptr, nullptr);
    });
    EXPECT_EQ(listener.Reach(MakeSocket()), 0);
    EXPECT_GE(interrupted, 2);
}
