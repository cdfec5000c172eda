#include "Network/Network/RkUdpServer.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <latch>
#include <stdexcept>
#include <thread>

#include "Network/Network/RkNetworkException.h"
#include "Network/Network/RkUdpConnection.h"
#include "Network/Network/RkUdpCriticalSection.h"
#include "tests/support/InThreads.h"
#include "tests/support/ServerReport.h"

using testing::HasSubstr;

const RkTimePeriod LONG(0, 0, 0, 20);
const RkInetAddress ANY_PORT("127.0.0.1", 0);

class Connection;
using Work = std::function<void(Connection&)>;

class Connection : public RkUdpConnection {
public:
    explicit Connection(Work work) : m_work(std::move(work)) {}
    ~Connection() override { LeaveServer(); }
    void Run() override { m_work(*this); }
    void Stop() override {}
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override {
        stream << "a datagram at " << level << "\r\n";
    }

    std::string Text() const { return {m_buffer, m_bufferLength}; }
    bool EndsWithZero() const { return m_buffer[m_bufferLength] == '\0'; }
    void Echo() { Send(m_buffer, m_bufferLength); }

private:
    const Work m_work;
};

class Server : public RkUdpServer {
public:
    using Make = std::function<RkUdpConnection*()>;

    explicit Server(Make make, bool starts = true) : RkUdpServer(ANY_PORT, 20000), m_make(std::move(make)) {
        if (starts)
            Start();
    }
    explicit Server(const Work& work, bool starts = true) : Server([work] { return new Connection(work); }, starts) {}
    ~Server() override {
        Stop();
        WaitForThread(this);
    }
    RkUdpConnection* CreateConnection() override { return m_make(); }

private:
    const Make m_make;
};

struct Client : RkUdpSocket {
    explicit Client(const Server& server) : RkUdpSocket(ANY_PORT, server.GetLocalAddress()) {}
    ~Client() override { Close(); }

    void Say(const std::string& text) { EXPECT_EQ(Write(text.data(), text.size()), std::ssize(text)); }
    std::string Ask(const std::string& text) {
        Say(text);
        char buffer[8192];
        const ssize_t count = Read(buffer, sizeof buffer, LONG);
        return {buffer, static_cast<size_t>(std::max<ssize_t>(count, 0))};
    }
};

const Work ECHO = [](Connection& connection) { connection.Echo(); };

TEST(RkUdpServerTest, AnswersEachClientWithItsOwnBytes) {
    Server server(ECHO);
    InThreads(8, [&](int id) {
        Client client(server);
        for (int i = 0; i < 100; ++i) {
            const std::string text = std::to_string(id) + ":" + std::to_string(i);
            ASSERT_EQ(client.Ask(text), text);
        }
    });
}

TEST(RkUdpServerTest, KeepsUpTo4095BytesAndAZero) {
    for (const size_t size : {0u, 1u, 4095u, 4096u, 65507u}) {
        std::promise<std::string> text;
        Server server([&](Connection& connection) {
            EXPECT_TRUE(connection.EndsWithZero());
            text.set_value(connection.Text());
        });
        Client(server).Say(std::string(size, 'x'));
        EXPECT_EQ(text.get_future().get(), std::string(std::min<size_t>(size, 4095), 'x'));
    }
}

TEST(RkUdpServerTest, SurvivesClientsThatAreGone) {
    std::latch answered(1), gone(1);
    Server server([&](Connection& connection) {
        gone.wait();
        for (int i = 0; i < 10; ++i)
            connection.Echo();  // each comes back as port unreachable
        answered.count_down();
    });
    Client(server).Say("bye");
    gone.count_down();
    answered.wait();
    EXPECT_EQ(Client(server).Ask("still there?"), "still there?");
}

TEST(RkUdpServerTest, StopClosesTheSocketBeforeItReturns) {
    Server server(ECHO);
    EXPECT_EQ(Client(server).Ask("x"), "x");
    server.Stop();
    EXPECT_EQ(server.GetLocalAddress(), RkInetAddress());
    EXPECT_THAT(Inspected(server), HasSubstr(" state - shutdown\r\n"));
}

TEST(RkUdpServerTest, ConnectionsThatSendDuringStopMeetNoForeignSocket) {
    for (int round = 0; round < 20; ++round) {
        std::latch sending(2);
        Server server([&](Connection& connection) {
            sending.count_down();
            for (int i = 0; i < 200; ++i)
                connection.Echo();
        });
        const RkInetAddress address = server.GetLocalAddress();
        Client client(server);
        client.Say("1");
        client.Say("2");
        sending.wait();
        server.Stop();
        Client bystander(server);  // its descriptor may have the number of the server's
        char byte;
        while (client.Read(&byte, 1, RkTimePeriod(0, 0, 0, 0, 0, 1)) == 1)
            EXPECT_EQ(client.GetRemoteAddress(), address);
    }
}

TEST(RkUdpServerTest, AFailedCreateConnectionLeavesTheDatagramToTheNext) {
    std::atomic<int> calls{0};
    Server server([&]() -> RkUdpConnection* {
        const int call = ++calls;
        if (call == 1)
            throw RkNetworkException("no connection now");
        return call == 3 ? nullptr : new Connection(ECHO);
    });
    Client client(server);
    EXPECT_EQ(client.Ask("first"), "first");
    client.Say("dropped");
    EXPECT_EQ(client.Ask("second"), "second");
}

TEST(RkUdpServerTest, AConnectionMayStopItsServerAndAnyOtherExceptionEndsItInOrder) {
    Server stopped([&](Connection&) { stopped.Stop(); });
    Server failing([]() -> RkUdpConnection* { throw std::runtime_error("out of everything"); });
    for (Server* server : {&stopped, &failing}) {
        Client(*server).Say("x");
        RkThread::WaitForThread(server);
        EXPECT_EQ(server->GetLocalAddress(), RkInetAddress());
        EXPECT_THAT(Inspected(*server), HasSubstr(" state - shutdown\r\n"));
    }
}

TEST(RkUdpServerTest, AServerThatNeverRanGoesAtOnceAndClosesItsSocket) {
    const RkInetAddress address = Server(ECHO, false).GetLocalAddress();
    RkUdpSocket again(address, RkInetAddress());  // throws while the port is taken
    again.Close();
}

TEST(RkUdpServerTest, PrintsItsStateByLevelAndReportsAll) {
    std::latch running(1), printed(1);
    Server server([&](Connection&) {
        running.count_down();
        printed.wait();
    });
    Client(server).Say("x");
    running.wait();
    ExpectReports(
        server, "TARNUdpServer", "  a datagram at 3\r\n",
        "address: 127\\.0\\.0\\.1:" + std::to_string(server.GetLocalAddress().GetPort()) +
            " state - (waiting for|reading) message\r\n\r\ntotal threads: [0-9]+\r\nidle threads: [0-9]+\r\n\r\n");
    printed.count_down();
    EXPECT_EQ(Inspected(Connection(ECHO)), "TARNUdpConnection=a datagram at 3\r\n");
}

TEST(RkUdpCriticalSectionTest, WaitsForADatagramWithoutTheLock) {
    RkUdpSocket receiver(ANY_PORT, RkInetAddress());
    auto& section = RkUdpCriticalSection::Itself();
    char buffer[16];
    RkInetAddress from;
    EXPECT_EQ(section.WaitForRecv(receiver, from, buffer, sizeof buffer, 50), 0);
    std::jthread sender([&] { section.SendTo(receiver, receiver.GetLocalAddress(), "hello", 5); });  // needs the lock
    EXPECT_EQ(section.WaitForRecv(receiver, from, buffer, sizeof buffer, -1), 5);
    EXPECT_EQ(from, receiver.GetLocalAddress());
    receiver.Close();
}
