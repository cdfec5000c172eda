#include "Base/RkIO.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <thread>

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

int WaitForInput(int fd, std::optional<RkTimePeriod> timeout) {
    fd_set set{};
    FD_SET(fd, &set);
    const int ready =
        timeout ? RkIO::Select(fd + 1, &set, nullptr, nullptr, *timeout) : RkIO::Select(fd + 1, &set, nullptr, nullptr);
    EXPECT_EQ(FD_ISSET(fd, &set), ready == 1);
    return ready;
}

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0); }
    int ends[2];
};

SOCKET MakeSocket() { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

TEST(RkIOConcurrentTest, AnInterruptedWaitLastsItsWholeTime) {
    const Pipe pipe;
    const Interruptions interruptions;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForInput(pipe.ends[0], RkTimePeriod(0, 0, 0, 0, 60)), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
    EXPECT_EQ(WaitForInput(pipe.ends[0], RkTimePeriod(0, 0, 0, -5)), 0);  // only looks
}

TEST(RkIOConcurrentTest, AnInterruptedWaitGoesOnWithItsSets) {
    for (const auto timeout : {std::optional<RkTimePeriod>(), std::optional(RkTimePeriod(0, 1))}) {
        const Pipe pipe;
        const Interruptions interruptions([&] { ::close(pipe.ends[1]); });  // the end of the input is readable
        EXPECT_EQ(WaitForInput(pipe.ends[0], timeout), 1);
    }
}

// The listener's queue is full until the twentieth signal: the connect is interrupted before it can succeed.
TEST(RkIOConcurrentTest, AnInterruptedConnectWaitsForItsOutcome) {
    sockaddr_in address{};
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    const SOCKET listener = MakeSocket(), client = MakeSocket();
    ASSERT_EQ(RkIO::Listen(listener, 0), 0);  // binds to a free port
    ASSERT_EQ(::getsockname(listener, plain, &length), 0);
    ASSERT_EQ(RkIO::Connect(MakeSocket(), plain, length), 0);
    const Interruptions interruptions([&] { ::accept(listener, nullptr, nullptr); });
    EXPECT_EQ(RkIO::Connect(client, plain, length), 0);
    EXPECT_TRUE(RkIO::IsConnected(client));
}
