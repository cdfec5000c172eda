#include "Network/Network/MockServer.h"

#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>
#include <latch>
#include <optional>

#include "Network/Network/RkNetworkException.h"
#include "tests/support/TestClient.h"

const RkTimePeriod kGenerous(0, 0, 1);

TEST(MockServer, ServesOneConnectionARun) {
    MockServer server("HTTP/1.0 200 OK\r\n\r\nhello", kGenerous, "127.0.0.1");
    for (int run = 0; run < 2; ++run) {
        server.Run();
        EXPECT_EQ(Ask(server.GetLocalAddress().GetPort(), "GET / HTTP/1.0\r\n\r\n"), "HTTP/1.0 200 OK\r\n\r\nhello");
        server.Wait();
    }
    server.Wait();  // nothing to wait for
}

TEST(MockServer, ReturnsWhenNobodyComes) {
    MockServer server("unread", RkTimePeriod(0, 0, 0, 0, 10), "127.0.0.1");
    server.RunSynchronously();
    server.Run();
    server.Wait();
}

TEST(MockServer, ListensWhereTheTextSaysAndAnswersARequestLongerThanItsRead) {
    MockServer first("late", kGenerous, "127.0.0.1");
    first.Run();  // listens, so that the port is taken in spite of address re-use
    EXPECT_THROW(MockServer("", kGenerous, first.GetLocalAddress().ToString()), RkNetworkException);
    TestClient client(first.GetLocalAddress().GetPort());
    client.Write(std::string(5000, 'x'));
    EXPECT_EQ(client.Read(4), "late");
    first.Wait();
}

TEST(MockServer, EndsAForgottenThreadThatStillWaits) {
    std::optional<TestClient> silent;
    {
        MockServer lonely("", RkTimePeriod(), "127.0.0.1"), server("", RkTimePeriod(), "127.0.0.1");
        lonely.Run();
        server.Run();
        silent.emplace(server.GetLocalAddress().GetPort());
    }
    EXPECT_EQ(silent->ReadAll(), "");
}

TEST(MockServer, EndsItsThreadInSpiteOfAnInterruption) {
    std::latch interrupted(1);
    boost::thread owner([&] {
        MockServer server("", RkTimePeriod(), "127.0.0.1");
        server.Run();
        interrupted.wait();
    });
    owner.interrupt();
    interrupted.count_down();
    owner.join();
}
