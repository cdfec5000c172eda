#include "Network/HTTP/RkHttpRequestUtils.h"

#include <gtest/gtest.h>

#include "Base/RkStringDevice.h"
#include "tests/support/ScriptedDevice.h"

namespace {

RkHttpRequestUtils Read(std::string text,
                        void (RkHttpRequestUtils::*how)(RkBStream&) = &RkHttpRequestUtils::ReadRequestHeader) {
    RkStringDevice device(text);
    RkBStream stream(device);
    RkHttpRequestUtils head;
    (head.*how)(stream);
    return head;
}

RkHttpRequestUtils ReadResponse(const std::string& text) { return Read(text, &RkHttpRequestUtils::ReadResponseHeader); }

/// A device that ends with an exception.
struct ThrowingDevice : ScriptedDevice {
    using ScriptedDevice::ScriptedDevice;
    ssize_t Read(char* data, size_t count) override {
        const ssize_t got = ScriptedDevice::Read(data, count);
        return got > 0 ? got : throw 1;
    }
};

}  // namespace

TEST(RkHttpRequestUtilsTest, UnderstandsRequestLines) {
    const struct {
        const char *line, *method, *file, *query;
    } cases[] = {
        {"POST /f", "POST", "/f", ""},
        {"HEAD /a%20b+c.html HTTP/1.0", "HEAD", "/a b c.html", ""},
        {"GET /cgi?x=1&y=?2 HTTP/1.0", "GET", "/cgi", "x=1&y=?2"},
        {"GET /cgi? HTTP/1.0", "GET", "/cgi", ""},
        {"GET /cgi?", "GET", "/cgi", ""},
        {"GET /../../etc/passwd HTTP/1.0", "GET", "/______etc/passwd", ""},
        {"GET /%2e%2e%2f.../x", "GET", "/___.___x", ""},  // decoded first; any "../" counts
        {"GET", "", "", ""},
        {"GET  /two-blanks", "", "", ""},
        {"get / HTTP/1.0", "", "", ""},
        {" GET / HTTP/1.0", "", "", ""},
    };
    for (const auto& c : cases) {
        RkHttpRequestUtils head = Read(std::string(c.line) + "\r\nX: y\r\n\r\n");
        EXPECT_EQ(head.getMethod(), c.method) << c.line;
        EXPECT_EQ(head.getRequestedFilename(), c.file) << c.line;
        EXPECT_EQ(head.getCgi().createCgiString(false, false, false, false), c.query) << c.line;
        EXPECT_EQ(head.getHeader("x"), *c.method ? "y" : "") << c.line;  // no method: fields are not parsed
    }
}

TEST(RkHttpRequestUtilsTest, FieldsAreFoundInAnyCaseAndJoined) {
    const RkHttpRequestUtils head =
        Read("GET /\r\nAccept: a\r\naccept:b\r\nE:\r\ne:  \t\r\nE: x:y\r\nNo colon\r\n \tIn ner : v \t\r\n\r\nZ: z");
    const std::pair<const char*, const char*> cases[] = {
        {"ACCEPT", "a;b"}, {"e", "x:y"}, {"no colon", ""}, {"in ner ", "v \t"}, {"z", ""}};
    for (const auto& [name, value] : cases)
        EXPECT_EQ(head.getHeader(name), value) << name;
}

TEST(RkHttpRequestUtilsTest, NumbersAreHeldToTheRangeOfInt) {
    const std::pair<const char*, int> cases[] = {
        {"12abc", 12}, {"-7", -7}, {"x", 0}, {"", 0}, {"4294967297", 2147483647}};
    for (const auto& [value, number] : cases)
        EXPECT_EQ(Read("GET /\nContent-Length: " + std::string(value) + "\n\n").getIntValueForName("content-length"),
                  number);
}

TEST(RkHttpRequestUtilsTest, StatusCodeStandsRightAfterTheWord) {
    const std::pair<const char*, int> cases[] = {{"HTTP 404 Not Found", 404},
                                                 {"HTTP/1.1 404 Not Found", 0},
                                                 {"xx HtTp:5034 ", 5034},
                                                 {"HTTP 20", 0},
                                                 {"200 OK", 0},
                                                 {"HTTP 123456789", 12345678},
                                                 {"", 0}};
    for (const auto& [line, status] : cases)
        EXPECT_EQ(ReadResponse(std::string(line) + "\r\nA: 1\r\n\r\n").getStatusCode(), status) << line;
    EXPECT_EQ(ReadResponse("HTTP 200: x\r\nA: 1\r\n\r\n").getHeader("a"), "1");
}

TEST(RkHttpRequestUtilsTest, EndOfTheStreamEndsAHeadAndAnExceptionSpoilsARequest) {
    EXPECT_EQ(Read("GET /cut HTTP/1.0\r\nA: 1").getHeader("a"), "1");
    ThrowingDevice requestDevice({"GET /cut HTTP/1.0\r\n"}), responseDevice({"HTTP 200\r\nA: 1\r\nB"});
    RkBStream request(requestDevice), response(responseDevice);
    RkHttpRequestUtils head;
    head.ReadRequestHeader(request);
    EXPECT_EQ(head.getMethod(), "");
    head.ReadResponseHeader(response);
    EXPECT_EQ(head.getHeader("a"), "1");
}

TEST(RkHttpRequestUtilsTest, HeadIsKeptUpToOneMebibyteAndLinesUpTo128Kibibytes) {
    const std::string start = "GET / HTTP 200\r\n", half(65536 - 3, 'v'), longLine(131073, 'v');
    std::string head = start;
    for (char c = 'a'; c < 'a' + 17; ++c)
        head += std::string(1, c) + ": " + half + "\r\n";
    for (const RkHttpRequestUtils& read : {Read(head), ReadResponse(head)}) {
        EXPECT_EQ(read.getHeader("o").size(), half.size());
        EXPECT_EQ(read.getHeader("p"), "");  // would make more than a MiB with the first line
    }
    EXPECT_EQ(Read(start + "A: 1\r\nB: " + longLine + "\r\nC: 3\r\n\r\n").getHeader("c"), "");
}
