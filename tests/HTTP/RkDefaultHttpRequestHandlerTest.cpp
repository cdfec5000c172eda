#include "Network/HTTP/RkDefaultHttpRequestHandler.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Base/RkBStreamTrace.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/TempDir.h"

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

const std::string NOT_FOUND =
    "HTTP/1.0 404 Not Found\r\nContent-Type: text/html\r\n\r\n"
    "<HTML><HEAD><TITLE>HTTP 404 File not found</TITLE></HEAD><BODY TEXT=BLACK BGCOLOR=WHITE>The requested file was "
    "not "
    "found</BODY></HTML>";

class RkDefaultHttpRequestHandlerTest : public ::testing::Test {
protected:
    RkDefaultHttpRequestHandlerTest() {
        for (const char* folder : {"www/sub", "www/htm", "www/empty", "www2"})
            std::filesystem::create_directories(m_dir / folder);
        Write("secret", "secret");
        Write("www2/sibling", "sibling");
        Write("www/index.html", "home");
        Write("www/sub/index.html", "html");
        Write("www/sub/index.htm", "htm");
        Write("www/htm/index.htm", "htm");
    }

    void Write(const std::string& name, const std::string& text) { std::ofstream(m_dir / name) << text; }

    /// The answer to a request for `name`, percent-encoded as it stands, below `root` of the test's folder.
    std::string Get(const std::string& name, const std::string& root = "www/") {
        RkHttpRequestMap map(m_dir / root);
        return Exchange(map, "GET " + name + " HTTP/1.0\r\n\r\n");
    }

    TempDir m_dir;
};

std::string Ok(const std::string& type, const std::string& body) {
    return "HTTP/1.0 200 OK\r\n" + (type.empty() ? "" : "Content-Type: " + type + "\r\n") +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

TEST_F(RkDefaultHttpRequestHandlerTest, ExtensionChoosesTheType) {
    const struct {
        const char *name, *type;
    } cases[] = {
        {"a.css", "text/css"},
        {"a.html", "text/html"},
        {"a.htm", "text/html"},
        {"a.txt", "text/plain"},
        {"a.xml", "text/xml"},
        {"a.xsl", "text/xml"},
        {"a.gif", "image/gif"},
        {"a.jpg", "image/jpeg"},
        {"a.jpeg", "image/jpeg"},
        {"a.bmp", "image/bmp"},
        {"a.png", "image/png"},
        {"a.xbm", "image/x-bitmap"},
        {"a.zip", "application/x-compressed"},
        {"a.tar.gz", "application/x-compressed"},
        {"a.js", "application/x-javascript"},
        {"a.HTML", ""},  // only lower case is known
        {"a.svg", ""},
        {"none", ""},
    };
    for (const auto& c : cases) {
        Write("www/" + std::string(c.name), "text");
        EXPECT_EQ(Get("/" + std::string(c.name)), Ok(c.type, "text")) << c.name;
    }
}

TEST_F(RkDefaultHttpRequestHandlerTest, FolderIsServedByItsIndexPage) {
    EXPECT_EQ(Get("/"), Ok("text/html", "home"));
    EXPECT_EQ(Get("/sub"), Ok("text/html", "html"));
    EXPECT_EQ(Get("/sub/"), Ok("text/html", "html"));
    EXPECT_EQ(Get("/htm/"), Ok("text/html", "htm"));
    EXPECT_EQ(Get("/empty/"), NOT_FOUND);
}

TEST_F(RkDefaultHttpRequestHandlerTest, FileOfAnySizeIsSentWhole) {
    RkHttpRequestMap map(m_dir / "www/");
    for (const size_t size : {0, 1, 1024, 8100, 8192, 32767, 32768, 65537, 150000}) {
        std::string text(size, 'x');
        for (size_t i = 0; i < size; i += 7)
            text[i] = static_cast<char>(i / 7);
        Write("www/f", text);
        HttpExchange exchange(map);
        exchange.Send("HEAD /f HTTP/1.0\r\n\r\n");  // the bytes are sent for HEAD, too
        EXPECT_TRUE(exchange.Run() == Ok("", text)) << size;
        EXPECT_EQ(exchange.Request().getAnswerStatus(), 200);
        EXPECT_EQ(exchange.Request().getAnswerBytes(), size);
    }
}

TEST_F(RkDefaultHttpRequestHandlerTest, OnlyRegularFilesBelowTheRootAreServed) {
    namespace fs = std::filesystem;
    ::mkfifo((m_dir / "www/fifo").c_str(), 0600);
    fs::create_directory(m_dir / "www/fifos");
    ::mkfifo((m_dir / "www/fifos/index.html").c_str(), 0600);
    fs::create_symlink("/dev/zero", m_dir / "www/zero");
    fs::create_symlink("../secret", m_dir / "www/link");
    fs::create_symlink("..", m_dir / "www/up");
    fs::create_symlink("nothing", m_dir / "www/broken");
    fs::create_symlink("loop", m_dir / "www/loop");
    const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{AF_UNIX, {}};
    (m_dir / "www/sock").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(sock, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    for (const char* name : {"/fifo", "/fifos/", "/zero", "/link", "/up/secret", "/broken", "/loop", "/sock", "/no",
                             "/index.html/", "/index.html%00", "/index.html%00.txt", "/sub%00/"})
        EXPECT_EQ(Get(name), NOT_FOUND) << name;
    ::close(sock);
    fs::create_symlink("index.html", m_dir / "www/inside");
    EXPECT_EQ(Get("/inside"), Ok("", "home"));
}

TEST_F(RkDefaultHttpRequestHandlerTest, NoSpellingLeavesTheRoot) {
    const std::string target = (m_dir / "secret").substr(1);
    std::vector<std::string> names;
    for (const char* dots : {"..", "%2e%2e", ".%2e", "%2E.", "..%00", "%252e%252e", "...", "....", "..;",
                             "%c0%ae%c0%ae", "%u002e.", "..+"})
        for (const char* slash : {"/", "%2f", "%5c", "\\", "//", "/./", "%252f"})
            names.push_back(std::string("/") + dots + slash + "secret");
    for (const char* before : {"", "/", "//", "/sub/../", "/./", "/%2f", "/file://", "file://", "http://127.0.0.1/"})
        names.push_back(before + std::string("../../../../../../../../") + target),
            names.push_back(before + (m_dir / "secret"));
    for (const char* whole :
         {"/..", "/../", "..", "../secret", "/sub/../../secret", "/sub/..%2f..%2fsecret", "/index.html/../../secret"})
        names.emplace_back(whole);
    ASSERT_GE(names.size(), 60u);
    for (const std::string& name : names)
        EXPECT_EQ(Get(name), NOT_FOUND) << name;
}

TEST_F(RkDefaultHttpRequestHandlerTest, SiblingWithTheRootsNameInFrontIsServed) {
    std::filesystem::create_symlink("../www2/sibling", m_dir / "www/s");
    EXPECT_EQ(Get("/s", "www"), Ok("", "sibling"));
    EXPECT_EQ(Get("2/sibling", "www"), Ok("", "sibling"));  // root and name are joined as they are
}

TEST_F(RkDefaultHttpRequestHandlerTest, PrefixesOfTheOtherPlatformAreStripped) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(m_dir / "www2");
    const struct {
        const char *asked, *served;
    } cases[] = {{"\\\\server\\x", "\\x"}, {"\\\\server", "\\\\server"}, {"c:d:y", "y"}, {"\\\\s\\:z", "z"}};
    for (const auto& c : cases) {
        Write("www2/" + std::string(c.asked), "asked");
        Write("www2/" + std::string(c.served), "served");
        RkHttpRequestMap map("");  // a root that is none restrains nothing
        EXPECT_EQ(Exchange(map, "GET " + std::string(c.asked) + " HTTP/1.0\r\n\r\n"), Ok("", "served")) << c.asked;
    }
    std::filesystem::current_path(before);
}

TEST_F(RkDefaultHttpRequestHandlerTest, FileThatMayNotBeReadGetsAHeadAlone) {
    Write("www/mine.txt", "text");
    std::filesystem::permissions(m_dir / "", std::filesystem::perms(0755));
    ::chmod((m_dir / "www/mine.txt").c_str(), 0);
    const bool isRoot = ::geteuid() == 0 && ::seteuid(65534) == 0;
    ::testing::internal::CaptureStdout();
    const std::string answer = Get("/mine.txt");
    const std::string told = ::testing::internal::GetCapturedStdout();
    ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
    EXPECT_EQ(answer, "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 4\r\n\r\n");
    EXPECT_THAT(told, StartsWith("Caught RkException: Cannot open '"));
    EXPECT_THAT(told, EndsWith("Permission denied\n"));
}

TEST_F(RkDefaultHttpRequestHandlerTest, HugeFileHasA32BitLength) {
    const struct {
        std::uintmax_t size;
        const char* length;
    } cases[] = {{2147483647, "2147483647"}, {2147483648, "-2147483648"}, {4294967297, "1"}};
    Write("www/huge", "");
    for (const auto& c : cases) {
        std::filesystem::resize_file(m_dir / "www/huge", c.size);
        struct : ScriptedDevice {
            ssize_t Write(const char* data, size_t count) override {
                return writes.empty() ? ScriptedDevice::Write(data, std::min<size_t>(count, 100)) : -1;
            }
        } device;
        RkBStream stream(device);
        ::testing::internal::CaptureStdout();
        RkDefaultHttpRequestHandler("").sendFile(m_dir / "www/huge", stream);
        EXPECT_THAT(::testing::internal::GetCapturedStdout(), StartsWith("Caught RkException: "));
        EXPECT_THAT(device.writes.at(0), HasSubstr("\r\nContent-Length: " + std::string(c.length) + "\r\n\r\n"));
    }
}

TEST_F(RkDefaultHttpRequestHandlerTest, PeerThatIsGoneIsToldOnStandardOutput) {
    Write("www/large", std::string(100000, 'x'));
    RkHttpRequestMap map(m_dir / "www/");
    for (const char* name : {"/index.html", "/large", "/no"}) {
        HttpExchange exchange(map);
        exchange.Send("GET " + std::string(name) + " HTTP/1.0\r\n\r\n");
        exchange.ClosePeer();
        ::testing::internal::CaptureStdout();
        exchange.Request().Run();
        EXPECT_THAT(::testing::internal::GetCapturedStdout(), StartsWith("Caught RkException: ")) << name;
    }
}

TEST_F(RkDefaultHttpRequestHandlerTest, SendFileOfWhatIsNotThereHasAnEmptyHead) {
    ScriptedDevice device;
    RkBStream stream(device);
    ::testing::internal::CaptureStdout();
    RkDefaultHttpRequestHandler("").sendFile(m_dir / "no", stream);
    ::testing::internal::GetCapturedStdout();
    stream.Flush();
    EXPECT_EQ(device.writes, std::vector<std::string>{"HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n"});
}
