#include "Network/HTTP/RkHttpServer.h"

#include <gmock/gmock.h>

#include <fstream>

#include "tests/support/TempDir.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHttpServer.h"

using ::testing::EndsWith;
using ::testing::StartsWith;

namespace {

/// Answers with the parameters.
void Echo(RkHttpRequest& request, RkBStream& stream) {
    stream << "HTTP/1.0 200 OK\r\n\r\n" << '<' << request.getCgi().createCgiString(true, false, false, false) << '>';
}

class RkHttpServerTest : public ::testing::Test {
protected:
    RkHttpServerTest() { m_server.Handle("/echo", Echo); }
    std::string Get(const std::string& name) { return Ask(m_server.Port(), "GET " + name + " HTTP/1.0\r\n\r\n"); }

    TempDir m_dir;
    TestHttpServer m_server{m_dir / "", 30};
};

const std::string NOT_FOUND = "HTTP/1.0 404 Not Found\r\n", ECHOED = "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\n<>";

}  // namespace

TEST(RkHttpServerStartTest, ConstructionIsStartAndPortZeroIsAnyPort) {
    RkInetAddress address("127.0.0.1", 0);
    RkHttpServer server(address, nullptr, "/nowhere/", 30);
    while (server.GetState() == std::string("init"))
        std::this_thread::yield();
    EXPECT_THAT(Ask(server.GetLocalAddress().GetPort(), "GET / HTTP/1.0\r\n\r\n"), StartsWith(NOT_FOUND));
}

TEST_F(RkHttpServerTest, WideNamesAreRegisteredInUtf8) {
    m_server.addHandler(std::wstring(L"/caf\u00e9"), new LambdaHandler(Echo));
    EXPECT_EQ(Get("/caf%C3%A9"), ECHOED);
}

TEST_F(RkHttpServerTest, FilesOfEverySizeArriveWhole) {
    for (const size_t size :
         std::initializer_list<size_t>{0, 1, 1024, 32767, 32768, 65537, 1048575, 1048576, 10485761}) {
        std::string text(size, 'x');
        for (size_t i = 0; i < size; i += 7)
            text[i] = static_cast<char>(i / 7);
        std::ofstream(m_dir / "f") << text;
        const std::string answer =
            Ask(m_server.Port(), "HEAD /f HTTP/1.0\r\n\r\n");  // the bytes are sent for HEAD, too
        EXPECT_TRUE(answer == "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + text) << size;
    }
}

TEST_F(RkHttpServerTest, HostileHeadsGetTheirAnswerAndTheNextClientIsServed) {
    const std::string line(131072, 'v'), bytes("\0\x80\xff", 3), get = "GET /echo HTTP/1.0\r\n",
                                                                 post = "POST /echo HTTP/1.0\r\nContent-Length: ";
    std::string endless = get;
    while (endless.size() < 1300000)  // more than a MiB, without an end
        endless += "A:bcdefghijklmno\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {get + "A: " + line + "\r\n\r\n", ECHOED},  // too long: the head ends before it
        {"GET /" + line + "\r\n\r\n", NOT_FOUND},
        {endless, ECHOED},
        {get + "A: " + bytes + "\n\n", ECHOED},
        {bytes + "\r\n\r\n", NOT_FOUND},
        {"BREW /echo\r\n\r\n", NOT_FOUND},
        {post + "-5\r\n\r\nx=1", ECHOED},
        {post + "2000000000\r\n\r\n" + line, ECHOED},
    };
    for (const auto& [request, answer] : cases) {
        EXPECT_THAT(Ask(m_server.Port(), request), StartsWith(answer)) << request.substr(0, 60);
        EXPECT_EQ(Get("/echo"), ECHOED);
    }
}

TEST_F(RkHttpServerTest, ByteAtATimeIsARequestToo) {
    TestClient client(m_server.Port());
    for (const char byte : std::string("POST /echo?a=1 HTTP/1.0\r\nContent-Length: 3\r\n\r\nb=2"))
        client.Send(std::string(1, byte));
    EXPECT_THAT(client.ReadAll(), EndsWith("\r\n\r\n<a=1&b=2>"));
}

TEST_F(RkHttpServerTest, PeersThatEndEarlyAreAnsweredOrForgotten) {
    TestClient half(m_server.Port());
    half.Send("GET /echo HTTP/1.0\r\nA: ");
    half.EndSending();
    EXPECT_EQ(half.ReadAll(), ECHOED);
    for (const char* begin : {"", "GET /ec", "GET /echo\r\n\r\n", "POST /echo\r\nContent-Length: 9\r\n\r\na="}) {
        TestClient gone(m_server.Port());
        gone.Send(begin);
        gone.Reset();
        EXPECT_EQ(Get("/echo"), ECHOED);
    }
}
