#include "Base/RkIO.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

namespace {

/// While it lives, another thread interrupts the calls of this one with signals, and after twenty of them calls `then`.
class Interruptions {
public:
    explicit Interruptions(const std::function<void()>& then = [] {}) {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, nullptr);
        m_thread = std::jthread([then, target = ::pthread_self()](const std::stop_token& stop) {
            for (int i = 1; !stop.stop_requested(); ++i) {
                ::pthread_kill(target, SIGALRM);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));  // the beat of the signals
                if (i == 20)
                    then();
            }
        });
    }

private:
    std::jthread m_thread;
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

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0); }
    int ends[2];
};

SOCKET MakeSocket() { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

}  // namespace

TEST(RkIOConcurrentTest, AnInterruptedWaitLastsItsWholeTime) {
    const Pipe pipe;
    const Interruptions interruptions;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitFor(pipe.ends[0], RkTimePeriod(0, 0, 0, 0, 60)), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
    EXPECT_EQ(WaitFor(pipe.ends[0], RkTimePeriod(0, 0, 0, -5)), 0);  // only looks
}

TEST(RkIOConcurrentTest, AnInterruptedWaitGoesOnWithItsSets) {
    for (const auto timeout : {std::optional<RkTimePeriod>(), std::optional(RkTimePeriod(0, 1))}) {
        const Pipe pipe;
        const Interruptions interruptions([&] { ::close(pipe.ends[1]); });  // the end of the input is readable
        EXPECT_EQ(WaitFor(pipe.ends[0], timeout), 1);
    }
}

TEST(RkIOConcurrentTest, WaitsForDescriptorsAboveTheFixedSetSize) {
    rlimit limit;
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    if (limit.rlim_max < 6000 || ::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        GTEST_SKIP() << "the hard descriptor limit is below 6,000";
    const Pipe pipe;
    ::close(pipe.ends[1]);
    EXPECT_EQ(WaitFor(::fcntl(pipe.ends[0], F_DUPFD_CLOEXEC, 5500), RkTimePeriod(0, 1)), 1);
}

TEST(RkIOConcurrentTest, SendingToAClosedPeerRaisesNoSignal) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    EXPECT_EQ(RkIO::Close(ends[1]), 0);
    EXPECT_EQ(RkIO::Send(ends[0], "x", 1, 0), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(RkIO::SendTo(ends[0], "x", 1, 0, nullptr, 0), -1);
}

// The listener's queue is full until the twentieth signal: the connect is interrupted before it can succeed.
TEST(RkIOConcurrentTest, AnInterruptedConnectWaitsForItsOutcome) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    const SOCKET listener = MakeSocket();
    ASSERT_EQ(RkIO::Listen(listener, 0), 0);  // binds to a free port
    ASSERT_EQ(::getsockname(listener, plain, &length), 0);
    ASSERT_EQ(RkIO::Connect(MakeSocket(), plain, length), 0);
    const Interruptions interruptions([&] { ::accept(listener, nullptr, nullptr); });
    const SOCKET client = MakeSocket();
    EXPECT_EQ(RkIO::Connect(client, plain, length), 0);
    EXPECT_TRUE(RkIO::IsConnected(client));
}
