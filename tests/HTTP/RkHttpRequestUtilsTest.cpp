#include "Network/HTTP/RkHttpRequestUtils.h"

#include <gtest/gtest.h>

#include "Base/RkStringDevice.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/TextTable.h"

RkHttpRequestUtils Read(std::string text,
                        void (RkHttpRequestUtils::*how)(RkBStream&) = &RkHttpRequestUtils::ReadRequestHeader) {
    RkStringDevice device(text);
    RkBStream stream(device);
    RkHttpRequestUtils head;
    (head.*how)(stream);
    return head;
}

RkHttpRequestUtils ReadResponse(const std::string& text) { return Read(text, &RkHttpRequestUtils::ReadResponseHeader); }

TEST(RkHttpRequestUtilsTest, UnderstandsRequestLines) {
    // method, file, query and a field, which is not looked at where there is no method
    const auto understood = [](const std::string& line) {
        RkHttpRequestUtils head = Read(line + "\r\nX: y\r\n\r\n");
        return head.getMethod() + "," + head.getRequestedFilename() + "," +
               head.getCgi().createCgiString(false, false, false, false) + "," + head.getHeader("x");
    };
    ExpectRows(understood,
               "POST /f -> POST,/f,,y | HEAD /a%20b+c.html HTTP/1.0 -> HEAD,/a b c.html,,y |"
               "GET /cgi?x=1&y=?2 HTTP/1.0 -> GET,/cgi,x=1&y=?2,y | GET /cgi? HTTP/1.0 -> GET,/cgi,,y |"
               "GET /cgi? -> GET,/cgi,,y | GET /../../etc/passwd HTTP/1.0 -> GET,/______etc/passwd,,y |"
               "GET /%2e%2e%2f.../x -> GET,/___.___x,,y |"  // decoded first; any "../" counts
               "GET -> ,,, | GET  /two-blanks -> ,,, | get / HTTP/1.0 -> ,,,");
    EXPECT_EQ(understood(" GET / HTTP/1.0"), ",,,");
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
    const auto number = [](const std::string& value) {
        return Read("GET /\nContent-Length: " + value + "\n\n").getIntValueForName("content-length");
    };
    ExpectRows(number, "12abc -> 12 | -7 -> -7 | x -> 0 | -> 0 | 4294967297 -> 2147483647");
}

TEST(RkHttpRequestUtilsTest, StatusCodeStandsRightAfterTheWord) {
    const auto status = [](const std::string& line) { return ReadResponse(line + "\r\nA: 1\r\n\r\n").getStatusCode(); };
    ExpectRows(status,
               "HTTP 404 Not Found -> 404 | HTTP/1.1 404 Not Found -> 0 | xx HtTp:5034 -> 5034 | HTTP 20 -> 0 |"
               "200 OK -> 0 | HTTP 123456789 -> 12345678 | -> 0");
    EXPECT_EQ(ReadResponse("HTTP 200: x\r\nA: 1\r\n\r\n").getHeader("a"), "1");
}

TEST(RkHttpRequestUtilsTest, EndOfTheStreamEndsAHeadAndAnExceptionSpoilsARequest) {
    EXPECT_EQ(Read("GET /cut HTTP/1.0\r\nA: 1").getHeader("a"), "1");
    ScriptedDevice requestDevice({"GET /cut HTTP/1.0\r\n", ScriptedDevice::EXCEPTION});
    ScriptedDevice responseDevice({"HTTP 200\r\nA: 1\r\nB", ScriptedDevice::EXCEPTION});
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
