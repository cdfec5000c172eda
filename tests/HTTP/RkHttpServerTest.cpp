#include "Network/HTTP/RkHttpServer.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "Network/HTTP/RkHttpRequest.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClient.h"

using ::testing::EndsWith;
using ::testing::StartsWith;

namespace {

/// Answers with method, file and parameters.
class EchoHandler : public RkHttpRequestHandler {
public:
    void handleRequest(RkHttpRequest& request, RkBStream& stream) override {
        stream << "HTTP/1.0 200 OK\r\n\r\n"
               << request.getMethod() << ' ' << request.getRequestedFilename() << ' '
               << request.getCgi().createCgiString(true, false, false, false);
    }
};

class TestHttpServer : public RkHttpServer {
public:
    explicit TestHttpServer(const std::string& root)
        : RkHttpServer(NotStarted(), RkInetAddress("127.0.0.1", 0), nullptr, root, 30) {
        addHandler("/echo", new EchoHandler);
        Bind(200);
        Start();
    }
    ~TestHttpServer() override { StopAndJoin(); }
    RkUInt16 Port() const { return GetLocalAddress().GetPort(); }
};

class RkHttpServerTest : public ::testing::Test {
protected:
    std::string Get(const std::string& name) { return Ask(m_server.Port(), "GET " + name + " HTTP/1.0\r\n\r\n"); }

    TempDir m_dir;
    TestHttpServer m_server{m_dir / ""};
};

const std::string NOT_FOUND = "HTTP/1.0 404 Not Found\r\n";
const std::string ECHO_ROOT = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nGET /echo ";

}  // namespace

TEST(RkHttpServerStartTest, ConstructionIsStartAndPortZeroIsAnyPort) {
    RkInetAddress address("127.0.0.1", 0);
    RkHttpServer server(address, nullptr, "/nowhere/", 30);
    while (server.GetState() == std::string("init"))
        std::this_thread::yield();
    EXPECT_THAT(Ask(server.GetLocalAddress().GetPort(), "GET / HTTP/1.0\r\n\r\n"), StartsWith(NOT_FOUND));
}

TEST_F(RkHttpServerTest, WideNamesAreRegisteredInUtf8) {
    m_server.addHandler(std::wstring(L"/caf\u00e9"), new EchoHandler);
    EXPECT_EQ(Get("/caf%C3%A9?a=b"), "HTTP/1.0 200 OK\r\nContent-Length: 14\r\n\r\nGET /caf\xc3\xa9 a=b");
}

TEST_F(RkHttpServerTest, FilesOfEverySizeArriveWhole) {
    for (const size_t size :
         {size_t{0}, size_t{1024}, size_t{16384}, size_t{1048575}, size_t{1048576}, size_t{10485761}}) {
        std::string text(size, 'x');
        for (size_t i = 0; i < size; i += 101)
            text[i] = static_cast<char>(i / 101);
        std::ofstream(m_dir / "f.txt") << text;
        EXPECT_TRUE(Get("/f.txt") == "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
                                         std::to_string(size) + "\r\n\r\n" + text)
            << size;
    }
}

TEST_F(RkHttpServerTest, HostileHeadsGetTheirAnswerAndTheNextClientIsServed) {
    const std::string line(131072, 'v'), bytes("\0\x80\xff", 3);
    std::string many = "GET /echo HTTP/1.0\r\n";
    for (int i = 0; i < 70000; ++i)
        many += "A:bcdefghijklmno\r\n";  // more than a MiB, without an end
    const struct {
        std::string request, answer;
    } cases[] = {
        {"GET /echo HTTP/1.0\r\nA: " + line.substr(3) + "\r\n\r\n", ECHO_ROOT},
        {"GET /echo HTTP/1.0\r\nA: " + line + "\r\n\r\n", ECHO_ROOT},  // too long: the head ends before it
        {"GET /" + line + " HTTP/1.0\r\n\r\n", NOT_FOUND},
        {many, ECHO_ROOT},
        {"GET /echo HTTP/1.0\nA: " + bytes + "\n\n", ECHO_ROOT},
        {bytes + "\r\n\r\n", NOT_FOUND},
        {"POST /echo HTTP/1.0\r\nContent-Length: -5\r\n\r\nx=1",
         "HTTP/1.0 200 OK\r\nContent-Length: 11\r\n\r\nPOST /echo "},
        {"POST /echo HTTP/1.0\r\nContent-Length: 3\r\n\r\nx=1",
         "HTTP/1.0 200 OK\r\nContent-Length: 14\r\n\r\nPOST /echo x=1"},
        {"POST /echo HTTP/1.0\r\nContent-Length: 2000000000\r\n\r\n" + line,
         "HTTP/1.0 200 OK\r\nContent-Length: 11\r\n\r\nPOST /echo "},
    };
    for (const auto& c : cases) {
        EXPECT_THAT(Ask(m_server.Port(), c.request), StartsWith(c.answer)) << c.request.substr(0, 60);
        EXPECT_EQ(Get("/echo"), ECHO_ROOT);
    }
}

TEST_F(RkHttpServerTest, ByteAtATimeIsARequestToo) {
    TestClient client(m_server.Port());
    for (const char byte : std::string("POST /echo?a=1 HTTP/1.0\r\nContent-Length: 3\r\n\r\nb=2"))
        client.Send(std::string(1, byte));
    EXPECT_THAT(client.ReadAll(), EndsWith("\r\n\r\nPOST /echo a=1&b=2"));
}

TEST_F(RkHttpServerTest, PeersThatEndEarlyAreAnsweredOrForgotten) {
    TestClient half(m_server.Port());
    half.Send("GET /echo HTTP/1.0\r\nA: ");
    half.EndSending();
    EXPECT_EQ(half.ReadAll(), ECHO_ROOT);
    for (const char* begin :
         {"", "GET /ec", "GET /echo HTTP/1.0\r\n\r\n", "POST /echo HTTP/1.0\r\nContent-Length: 9\r\n\r\na="}) {
        TestClient gone(m_server.Port());
        gone.Send(begin);
        gone.Reset();
        EXPECT_EQ(Get("/echo"), ECHO_ROOT);
    }
}
