#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include "Network/Network/RkUdpSocket.h"
#include "tests/support/Qornet.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClient.h"

using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::IsEmpty, testing::Not, testing::StartsWith;

/// A real `qornet serve` on a folder of its own.
struct ServeTest : testing::Test {
    ServeTest() {
        std::filesystem::create_directory(m_root);
        Write("hello.txt", "hello\n");
    }

    void Start(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"serve", "--port", "0", "--root", m_root});
        m_server = std::make_unique<QornetServer>("http", std::move(options));
        m_port = m_server->Port();
    }

    void Write(const std::string& name, const std::string& content) { std::ofstream(m_root + "/" + name) << content; }
    std::string Get(const std::string& target) const { return Ask(m_port, "GET " + target + " HTTP/1.0\r\n\r\n"); }

    /// Asks until a page holds the text; the test runner's limit ends a wait in vain.
    void WaitFor(const std::string& target, const std::string& text) const {
        while (Get(target).find(text) == std::string::npos) {}
    }

    /// With a silent client, and a download that has begun: what is left of it is more than the sockets' buffers hold.
    void StartDownload(const std::string& drain) {
        Write("large.bin", std::string(30'000'000, 'x'));
        Start({"--drain", drain});
        m_silent = std::make_unique<TestClient>(m_port);
        m_download = std::make_unique<TestClient>(m_port);
        m_download->Write("GET /large.bin HTTP/1.0\r\n\r\n");
        EXPECT_EQ(m_download->Read(45), "HTTP/1.0 200 OK\r\nContent-Length: 30000000\r\n\r\n");
    }

    const TempDir m_dir;
    const std::string m_root = m_dir / "<b>site";
    std::unique_ptr<QornetServer> m_server;
    std::unique_ptr<TestClient> m_silent, m_download;
    std::uint16_t m_port = 0;
};

TEST_F(ServeTest, ServesFilesEchoesAndStopsCleanly) {
    Start();
    EXPECT_EQ(Get("/hello.txt"), "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 6\r\n\r\nhello\n");
    EXPECT_THAT(Get("/../../../../etc/passwd"), StartsWith("HTTP/1.0 404 Not Found\r\n"));
    EXPECT_THAT(Ask(m_port, "POST /echo?q=1 HTTP/1.0\r\nContent-Length: 7\r\n\r\na=x%20y"),
                EndsWith("\r\n\r\nmethod: POST\nfile: /echo\nparameter q: 1\nparameter a: x y\nbody: a=x%20y\n"));
    EXPECT_EQ(m_server->Stop(), 0);
    EXPECT_THAT(m_server->GetErrors(), IsEmpty());
}

TEST_F(ServeTest, TellsItsStateInThreeForms) {
    Start();
    TestClient silent(m_port);
    Get("/hello.txt");
    WaitFor("/status", "<td>reading</td>");
    EXPECT_THAT(Get("/status"), AllOf(HasSubstr("http-equiv=\"refresh\""), HasSubstr("answers with status 200"),
                                      HasSubstr("&lt;b&gt;site"), Not(HasSubstr("<b>site"))));
    EXPECT_THAT(Get("/status.txt"),
                AllOf(HasSubstr("TARNTcpServer - PrintSelf - Level: 3\r\n"), HasSubstr("phase: reading\r\n")));
}

TEST_F(ServeTest, WritesMetricsThatPrometheusTakes) {
    Start();
    Get("/hello.txt");
    Get("/missing");
    const std::string answer = Get("/metrics");
    EXPECT_THAT(answer, AllOf(HasSubstr("qornet_answers_total{code=\"404\"} 1\n"), HasSubstr("_count 2\n"),
                              HasSubstr("\nqornet_connections_refused_total 0\n")));
    if (RunProgram({"/bin/sh", "-c", "command -v promtool"}).status != 0)
        GTEST_SKIP() << "promtool (Debian package prometheus) is not installed";
    Write("metrics", answer.substr(answer.find("\r\n\r\n") + 4));
    const Finished check = RunProgram({"/bin/sh", "-c", "promtool check metrics < '" + m_root + "/metrics'"});
    EXPECT_EQ(check.status, 0) << check.errors;
}

TEST_F(ServeTest, EndsAHeadThatIsLateButNoneThatIsComplete) {
    Start({"--max-head-time", "1"});
    TestClient trickling(m_port);
    trickling.Write("GET /hello.txt HTTP/1.0\r\nX-Slow: ");
    TestClient posting(m_port);
    posting.Write("POST /echo HTTP/1.0\r\nContent-Length: 3\r\n\r\na");
    trickling.ReadAll();
    WaitFor("/metrics", "qornet_timeouts_total{kind=\"head\"} 1");
    posting.Write("=1");
    EXPECT_THAT(posting.ReadAll(), EndsWith("body: a=1\n"));
}

TEST_F(ServeTest, RefusesAPeerThatHasTooManyConnections) {
    Start({"--max-peer", "2"});
    {
        TestClient first(m_port), second(m_port);
        EXPECT_THAT(TestClient(m_port).ReadAll(), IsEmpty());
    }
    WaitFor("/hello.txt", "200 OK");  // there is room again once the two are gone
}

TEST_F(ServeTest, LetsARunningDownloadFinishWhenItStops) {
    StartDownload("60");
    m_server->Signal(SIGTERM);
    EXPECT_EQ(m_download->ReadAll().size(), 30'000'000u);
    EXPECT_EQ(m_server->Wait(), 0);
}

TEST_F(ServeTest, StopsWithinTwoSecondsInSpiteOfSilentAndStalledClients) {
    StartDownload("0.2");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(m_server->Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

TEST_F(ServeTest, SaysWhenItsPortIsTakenAndWritesTheOneItGot) {
    Start({"--port-file", m_root + "/port"});
    std::ifstream file(m_root + "/port");
    std::string port;
    file >> port;
    EXPECT_EQ(port, std::to_string(m_port));
    const Finished second = Qornet({"serve", "--root", "/nonexistent", "--root", m_root, "--port", port});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors, "qornet: cannot listen on 127.0.0.1:" + port +
                                 ": Address already in use; choose another --port (0 picks a free one) or --address\n");
}

TEST_F(ServeTest, RaisesALowLimitOnDescriptors) {
    ChildProcess server(
        {"/bin/sh", "-c", "ulimit -S -n 256; exec " QORNET_PATH " serve --port 0 --root '" + m_root + "'"});
    ASSERT_THAT(server.ReadLine(), StartsWith("listening on "));
    std::ifstream limits("/proc/" + std::to_string(server.GetId()) + "/limits");
    std::string text{std::istreambuf_iterator<char>(limits), {}};
    EXPECT_THAT(text, Not(HasSubstr("Max open files            256 ")));
}

TEST(EchoTest, SendsBackWhatItGetsAndStopsCleanly) {
    QornetServer tcp("tcp", {"echo", "tcp"}), udp("udp", {"echo", "udp"});
    TestClient client(tcp.Port());
    const std::string text(100'000, 'e');
    client.Write(text);
    client.ShutdownWrite();
    EXPECT_EQ(client.ReadAll(), text);
    RkUdpSocket datagrams(RkInetAddress("127.0.0.1", 0), RkInetAddress("127.0.0.1", udp.Port()));
    datagrams.Write("hello", 5);
    char answer[16];
    EXPECT_EQ(datagrams.Read(answer, sizeof answer, RkTimePeriod(0, 0, 0, 20)), 5);
    datagrams.Close();
    for (QornetServer* server : {&tcp, &udp})
        EXPECT_EQ(server->Stop(SIGINT), 0);
}
