#include "Network/HTTP/RkHttpRequestUtils.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "Base/RkStringDevice.h"
#include "tests/support/ScriptedDevice.h"

namespace {

RkHttpRequestUtils ReadRequest(std::string text) {
    RkStringDevice device(text);
    RkBStream stream(device);
    RkHttpRequestUtils head;
    head.ReadRequestHeader(stream);
    return head;
}

RkHttpRequestUtils ReadResponse(std::string text) {
    RkStringDevice device(text);
    RkBStream stream(device);
    RkHttpRequestUtils head;
    head.ReadResponseHeader(stream);
    return head;
}

/// A device that ends with an exception.
class ThrowingDevice : public ScriptedDevice {
public:
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
        {"GET / HTTP/1.0", "GET", "/", ""},
        {"POST /f", "POST", "/f", ""},
        {"HEAD /a%20b+c.html HTTP/1.0", "HEAD", "/a b c.html", ""},
        {"GET /cgi?x=1&y=2 HTTP/1.0", "GET", "/cgi", "x=1&y=2"},
        {"GET /cgi? HTTP/1.0", "GET", "/cgi", ""},
        {"GET /cgi?", "GET", "/cgi", ""},
        {"GET /a?b=?c z", "GET", "/a", "b=?c"},
        {"GET /../../etc/passwd HTTP/1.0", "GET", "/______etc/passwd", ""},
        {"GET /%2e%2e%2f.../x", "GET", "/___.___x", ""},  // decoded first; any "../" counts
        {"GET", "", "", ""},
        {"GET  /two-blanks", "", "", ""},
        {"GET ?x=1 HTTP/1.0", "", "", ""},
        {"get / HTTP/1.0", "", "", ""},
        {"PUT / HTTP/1.0", "", "", ""},
        {" GET / HTTP/1.0", "", "", ""},
    };
    for (const auto& c : cases) {
        RkHttpRequestUtils head = ReadRequest(std::string(c.line) + "\r\nX: y\r\n\r\n");
        EXPECT_EQ(head.getMethod(), c.method) << c.line;
        EXPECT_EQ(head.getRequestedFilename(), c.file) << c.line;
        EXPECT_EQ(head.getCgi().createCgiString(false, false, false, false), c.query) << c.line;
        EXPECT_EQ(head.getHeader("x"), *c.method ? "y" : "") << c.line;  // no method: fields are not parsed
    }
}

TEST(RkHttpRequestUtilsTest, FieldsAreFoundInAnyCaseAndJoined) {
    const struct {
        const char *lines, *name, *value;
    } cases[] = {
        {"Accept: a\r\naccept:b", "ACCEPT", "a;b"},
        {"Empty:\r\nEmpty:  \t\r\nEmpty: x", "empty", "x"},
        {"No colon", "no colon", ""},
        {" \tInner Blank : v w \t", "inner blank ", "v w \t"},
        {"Time: 12:30", "time", "12:30"},
        {": nameless", "", "nameless"},
        {"\xc4: \xff", "\xc4", "\xff"},  // only ASCII is lower-cased
    };
    for (const auto& c : cases)
        EXPECT_EQ(ReadRequest("GET /\r\n" + std::string(c.lines) + "\r\n\r\n").getHeader(c.name), c.value) << c.lines;
}

TEST(RkHttpRequestUtilsTest, NumbersAreHeldToTheRangeOfInt) {
    const struct {
        const char* value;
        int number;
    } cases[] = {
        {"12abc", 12}, {"-7", -7}, {"x", 0}, {"4294967297", 2147483647}, {"-99999999999999999999", -2147483647 - 1}};
    for (const auto& c : cases)
        EXPECT_EQ(
            ReadRequest("GET /\nContent-Length: " + std::string(c.value) + "\n\n").getIntValueForName("content-length"),
            c.number);
    EXPECT_EQ(ReadRequest("GET /\n\n").getIntValueForName("content-length"), 0);
}

TEST(RkHttpRequestUtilsTest, StatusCodeStandsRightAfterTheWord) {
    const struct {
        const char* line;
        int status;
    } cases[] = {
        {"HTTP 404 Not Found", 404},
        {"HTTP/1.1 404 Not Found", 0},  // the version stands there
        {"http/200", 200},
        {"xx HtTp:5034 ", 5034},
        {"HTTP 20", 0},
        {"200 OK", 0},
        {"HTTP 123456789", 12345678},  // eight characters from a word at the start
        {"", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ReadResponse(std::string(c.line) + "\r\n\r\n").getStatusCode(), c.status) << c.line;
}

TEST(RkHttpRequestUtilsTest, ResponseFieldsAreReadUpToTheEmptyLine) {
    const RkHttpRequestUtils head = ReadResponse("HTTP 200 OK: fine\r\nA: 1\r\n\r\nB: 2\r\n");
    EXPECT_EQ(head.getHeader("a"), "1");
    EXPECT_EQ(head.getHeader("b"), "");
    EXPECT_EQ(head.getHeader("http 200 ok"), "fine");
}

TEST(RkHttpRequestUtilsTest, EndOfTheStreamEndsAHeadAndAnExceptionSpoilsARequest) {
    EXPECT_EQ(ReadRequest("GET /cut HTTP/1.0\r\nA: 1").getHeader("a"), "1");
    ThrowingDevice requestDevice({"GET /cut HTTP/1.0\r\n"}), responseDevice({"HTTP 200\r\nA: 1\r\nB"});
    RkBStream request(requestDevice), response(responseDevice);
    RkHttpRequestUtils head;
    head.ReadRequestHeader(request);
    EXPECT_EQ(head.getMethod(), "");
    head.ReadResponseHeader(response);
    EXPECT_EQ(head.getStatusCode(), 200);
    EXPECT_EQ(head.getHeader("a"), "1");
}

TEST(RkHttpRequestUtilsTest, HeadIsKeptUpToOneMebibyteAndLinesUpTo128Kibibytes) {
    const std::string start = "GET / HTTP 200\r\n", half(65536 - 3, 'v'), longLine(131073, 'v');
    std::string head = start;
    for (char c = 'a'; c < 'a' + 17; ++c)
        head += std::string(1, c) + ": " + half + "\r\n";
    for (const RkHttpRequestUtils& read : {ReadRequest(head), ReadResponse(head)}) {
        EXPECT_EQ(read.getHeader("o").size(), half.size());
        EXPECT_EQ(read.getHeader("p"), "");  // would make more than a MiB with the first line
    }
    EXPECT_EQ(ReadRequest(start + "A: 1\r\nB: " + longLine + "\r\nC: 3\r\n\r\n").getHeader("c"), "");
}
