#include "Network/HTTP/RkDefaultHttpRequestHandler.h"

#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/HttpExchange.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/TempDir.h"

using testing::HasSubstr, testing::MatchesRegex, testing::StartsWith;
namespace fs = std::filesystem;

const std::string NOT_FOUND =
    "HTTP/1.0 404 Not Found\r\nContent-Type: text/html\r\n\r\n<HTML><HEAD><TITLE>HTTP 404 File not found</TITLE></HEAD>"
    "<BODY TEXT=BLACK BGCOLOR=WHITE>The requested file was not found</BODY></HTML>";

std::string Ok(const std::string& type, const std::string& body) {
    return "HTTP/1.0 200 OK\r\n" + (type.empty() ? "" : "Content-Type: " + type + "\r\n") +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

struct RkDefaultHttpRequestHandlerTest : testing::Test {
    RkDefaultHttpRequestHandlerTest() {
        for (const char* folder : {"www/sub", "www/htm", "www/empty", "www/fifos", "www2"})
            fs::create_directories(m_dir / folder);
        for (const char* file : {"secret", "www2/sibling", "www/index.html", "www/sub/index.html", "www/sub/index.htm",
                                 "www/htm/index.htm"})
            Write(file, file);
    }

    void Write(const std::string& name, const std::string& text) { std::ofstream(m_dir / name) << text; }

    /// The answer to a request for `name`, percent-encoded as it stands, below `root` of the test's folder.
    std::string Get(const std::string& name, const std::string& root = "www/") {
        RkHttpRequestMap map(m_dir / root);
        return Exchange(map, "GET " + name + " HTTP/1.0\r\n\r\n");
    }

    TempDir m_dir;
};

TEST_F(RkDefaultHttpRequestHandlerTest, ExtensionChoosesTheType) {
    std::istringstream rows(
        "css text/css html text/html htm text/html txt text/plain xml text/xml xsl text/xml gif image/gif "
        "jpg image/jpeg jpeg image/jpeg bmp image/bmp png image/png xbm image/x-bitmap zip application/x-compressed "
        "gz application/x-compressed js application/x-javascript HTML - svg -");
    for (std::string extension, type; rows >> extension >> type;) {
        Write("www/a.b." + extension, "text");
        EXPECT_EQ(Get("/a.b." + extension), Ok(type == "-" ? "" : type, "text")) << extension;
    }
}

TEST_F(RkDefaultHttpRequestHandlerTest, OnlyRegularFilesBelowTheRootAreServed) {
    ::mkfifo((m_dir / "www/fifo").c_str(), 0600);
    ::mkfifo((m_dir / "www/fifos/index.html").c_str(), 0600);
    ::mknod((m_dir / "www/sock").c_str(), S_IFSOCK | 0600, 0);
    const std::pair<const char*, const char*> links[] = {{"/dev/zero", "zero"}, {"../secret", "link"},
                                                         {"..", "up"},          {"nothing", "broken"},
                                                         {"loop", "loop"},      {"index.html", "inside"}};
    for (const auto& [target, name] : links)
        fs::create_symlink(target, m_dir / "www/" + name);
    for (const char* name : {"/empty/", "/fifo", "/fifos/", "/zero", "/link", "/up/secret", "/broken", "/loop", "/sock",
                             "/no", "/index.html/", "/index.html%00", "/index.html%00.txt", "/sub%00/"})
        EXPECT_EQ(Get(name), NOT_FOUND) << name;
    for (const auto& [name, served] :
         {std::pair("/", "www/index.html"), {"/sub", "www/sub/index.html"}, {"/htm/", "www/htm/index.htm"}})
        EXPECT_EQ(Get(name), Ok("text/html", served)) << name;
    EXPECT_EQ(Get("/inside"), Ok("", "www/index.html"));
}

TEST_F(RkDefaultHttpRequestHandlerTest, NoSpellingLeavesTheRoot) {
    const std::string up = "../../../../../../../../", target = m_dir / "secret";
    std::vector<std::string> names{"/..", "/../", "..", "../secret", "/sub/../../secret", "/sub/..%2f..%2fsecret"};
    for (const char* dots :
         {"..", "%2e%2e", ".%2e", "%2E.", "..%00", "%252e%252e", "...", "....", "..;", "%c0%ae%c0%ae", "..+"})
        for (const char* slash : {"/", "%2f", "%5c", "\\", "//", "/./"})
            names.push_back(std::string("/") + dots + slash + "secret");
    for (const char* before : {"", "/", "//", "/sub/../", "/./", "/%2f", "/file://", "file://", "http://127.0.0.1/"})
        names.push_back(before + up + target.substr(1)), names.push_back(before + target);
    ASSERT_GE(names.size(), 60u);
    for (const std::string& name : names)
        EXPECT_EQ(Get(name), NOT_FOUND) << name;
}

TEST_F(RkDefaultHttpRequestHandlerTest, SiblingWithTheRootsNameInFrontIsServed) {
    fs::create_symlink("../www2/sibling", m_dir / "www/s");
    EXPECT_EQ(Get("/s", "www"), Ok("", "www2/sibling"));
    EXPECT_EQ(Get("2/sibling", "www"), Ok("", "www2/sibling"));  // root and name are joined as they are
}

TEST_F(RkDefaultHttpRequestHandlerTest, PrefixesOfTheOtherPlatformAreStripped) {
    const fs::path before = fs::current_path();
    fs::current_path(m_dir / "www2");
    RkHttpRequestMap map("");  // a root that is none restrains nothing
    const std::pair<const char*, const char*> cases[] = {
        {"\\\\server\\x", "\\x"}, {"\\\\server", "\\\\server"}, {"c:d:y", "y"}};
    for (const auto& [asked, served] : cases) {
        Write("www2/" + std::string(asked), "asked"), Write("www2/" + std::string(served), "served");
        EXPECT_EQ(Exchange(map, "GET " + std::string(asked) + " HTTP/1.0\r\n\r\n"), Ok("", "served")) << asked;
    }
    fs::current_path(before);
}

TEST_F(RkDefaultHttpRequestHandlerTest, FileThatMayNotBeReadGetsAHeadAlone) {
    fs::permissions(m_dir / "", fs::perms(0755));
    fs::permissions(m_dir / "www/index.html", fs::perms::none);
    const bool isRoot = ::geteuid() == 0 && ::seteuid(65534) == 0;
    testing::internal::CaptureStdout();
    const std::string answer = Get("/index.html");
    const std::string told = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
    EXPECT_EQ(answer, "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: 14\r\n\r\n");
    EXPECT_THAT(told, MatchesRegex("Caught RkException: Cannot open '.*Permission denied\n"));
}

TEST_F(RkDefaultHttpRequestHandlerTest, HugeFileHasA32BitLength) {
    const std::pair<std::uintmax_t, const char*> cases[] = {
        {2147483647, "2147483647"}, {2147483648, "-2147483648"}, {4294967297, "1"}};
    for (const auto& [size, length] : cases) {
        fs::resize_file(m_dir / "secret", size);
        struct : ScriptedDevice {
            ssize_t Write(const char* data, size_t count) override {
                return writes.empty() ? ScriptedDevice::Write(data, std::min<size_t>(count, 100)) : -1;
            }
        } device;
        RkBStream stream(device);
        testing::internal::CaptureStdout();
        RkDefaultHttpRequestHandler("").sendFile(m_dir / "secret", stream);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith("Caught RkException: "));
        EXPECT_THAT(device.writes.at(0), HasSubstr("\r\nContent-Length: " + std::string(length) + "\r\n\r\n"));
    }
}

TEST_F(RkDefaultHttpRequestHandlerTest, WhatIsLeftOverOfASentFileIsNotHeldBack) {
    Write("large", std::string(40000, 'x'));
    RkTcpSocket listener(RkInetAddress("127.0.0.1", 0), true), client, server;
    listener.Bind();
    listener.Listen(1);
    client.Connect(listener.GetLocalAddress());
    listener.Accept(server);
    RkBStream stream(server);
    RkDefaultHttpRequestHandler("").sendFile(m_dir / "large", stream);
    int heldBack = 1;
    socklen_t length = sizeof heldBack;
    EXPECT_EQ(::getsockopt(server.GetHandle(), IPPROTO_TCP, TCP_CORK, &heldBack, &length), 0);
    EXPECT_EQ(heldBack, 0);
    for (RkTcpSocket* const socket : {&listener, &client, &server})
        socket->Close();
}

TEST_F(RkDefaultHttpRequestHandlerTest, PeerThatIsGoneIsToldOnStandardOutput) {
    Write("www/large", std::string(100000, 'x'));
    RkHttpRequestMap map(m_dir / "www/");
    for (const char* name : {"/index.html", "/large", "/no"}) {
        HttpExchange exchange(map);
        exchange.Send("GET " + std::string(name) + " HTTP/1.0\r\n\r\n");
        exchange.ClosePeer();
        testing::internal::CaptureStdout();
        exchange.Request().Run();
        EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith("Caught RkException: ")) << name;
    }
}
