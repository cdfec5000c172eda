#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/support/InThreads.h"
#include "tests/support/Qornet.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClient.h"

using testing::AllOf, testing::Each, testing::HasSubstr, testing::IsEmpty, testing::MatchesRegex;

std::vector<std::string> Lines(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

/// One line of a log at so many seconds after a full minute.
std::string Line(const std::string& who, const std::string& seconds, const std::string& request,
                 const std::string& tail = "") {
    return who + " [10/Oct/2000:13:55:" + seconds + " -0700] \"" + request + "\" 200 2326" + tail + "\n";
}

struct VisitsTest : testing::Test {
    Finished Count(const std::string& log, std::vector<std::string> options = {}) {
        std::ofstream(m_log) << log;
        options.insert(options.begin(), "visits");
        options.push_back(m_log);
        return Qornet(std::move(options));
    }
    const TempDir m_dir;
    const std::string m_log = m_dir / "log";
};

TEST_F(VisitsTest, CountsByUserOrElseByClient) {
    const std::string log = Line("1.2.3.4 - alice", "00", "GET / HTTP/1.0") +
                            Line("1.2.3.4 - Alice", "03", "GET /a.gif HTTP/1.0", " \"r\" \"a \\\"quoted\\\" agent\"") +
                            Line("1.2.3.4 - -", "04", "GET /a.gif") +
                            Line("5.6.7.8 - alice", "05", "GET /b%2egif?x=.html HTTP/1.1", " \"-\" \"-\" extra\r") +
                            Line("1.2.3.4 - -", "15", "GET /a.gif HTTP/1.0");
    const Finished ran = Count(log);
    EXPECT_EQ(ran.output,
              "user\tvisits\thits\thits/visit\n1.2.3.4\t2\t0\t0.00\nalice\t1\t2\t2.00\ntotal\t3\t2\t0.67\n");
    EXPECT_THAT(ran.errors, IsEmpty());
    EXPECT_THAT(Count(log, {"--delay", "20"}).output, HasSubstr("1.2.3.4\t1\t1\t1.00\n"));
}

TEST_F(VisitsTest, ReadsTimesWithTheirZone) {
    const std::string head = "1.2.3.4 - - [", tail = "] \"GET /a.gif HTTP/1.0\" 200 1\n";
    const std::string log = head + "31/Dec/1999:23:59:58 +0000" + tail + head + "01/Jan/2000:02:30:02 +0230" + tail;
    EXPECT_THAT(Count(log).output, HasSubstr("total\t1\t1\t1.00\n"));
}

TEST_F(VisitsTest, TellsWhatDoesNotParse) {
    const std::string good = Line("h - u", "00", "GET / HTTP/1.0"),
                      start = "h - u [10/Oct/2000:13:55:36 -0700] \"GET /";
    const std::string bad[] = {
        "garbage",
        Line("h - u", "00", "-"),
        Line("h - u", "61", "GET / HTTP/1.0"),
        "h - u [31/Feb/2000:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1",
        start + " HTTP/1.0\" 2000 1",
        start + " HTTP/1.0\" 200 1h - u [10/Oct/2000",  // two lines in one
        start + " HTTP/1.0\" 200 1 \"torn",
        start + " HTTP/1.0\\\" 200 1",
        std::string(3'000'000, 'x'),
    };
    for (const std::string& line : bad) {
        const Finished ran = Count(good + line + (line.ends_with('\n') ? "" : "\n") + good);
        EXPECT_THAT(ran.output, HasSubstr("total\t2\t0\t0.00\n")) << line.substr(0, 100);
        EXPECT_THAT(ran.errors, AllOf(HasSubstr("1 line(s) are no requests"), HasSubstr("the first is line 2\n")));
        EXPECT_EQ(ran.status, 0);
    }
}

TEST(RangeCommandTest, TestsAddressesAgainstRangesAndFiles) {
    const TempDir dir;
    std::ofstream(dir / "ranges") << "# ours\r\n\n10.0.0.0/8\r\n::1\n";
    EXPECT_EQ(Qornet({"range", dir / "ranges", "10.1.2.3", "11.0.0.1", "::1"}).output,
              "10.1.2.3: in\n11.0.0.1: out\n::1: in\n");
    std::ofstream(dir / "ranges") << "1.2.3.4\n1.2.3.4/x\n";
    ExpectRefusals({{{"range", dir / "ranges"}, 1, "ranges:2: '1.2.3.4/x' has a prefix length that is no number"}});
}

TEST(AccessLogTest, WritesAWholeLineForEachRequestAndGoesOnInANewFile) {
    const TempDir dir;
    const std::string log = dir / "log";
    QornetServer server("http", {"serve", "--port", "0", "--root", dir / "", "--access-log", log});
    InThreads(4, [&](int) {
        for (int n = 0; n < 50; ++n)
            Ask(server.Port(), "GET /a\"\\\x01?q HTTP/1.0\r\nReferer: r\r\nUser-Agent: t\xe9st\r\n\r\n");
    });
    const std::string whole = R"(127\.0\.0\.1 - - \[[0-9]{2}/[A-Za-z]{3}/[0-9]{4}(:[0-9]{2}){3} [-+][0-9]{4}\] )"
                              R"("GET /a\\"\\\\\\x01\?q HTTP/1\.0" 404 [0-9]+ "r" "t\\xe9st")";
    const auto lines = Lines(log);
    EXPECT_EQ(lines.size(), 200u);
    EXPECT_THAT(lines, Each(MatchesRegex(whole)));
    std::filesystem::rename(log, log + ".1");
    server.Signal(SIGHUP);
    while (!std::filesystem::exists(log)) {}
    while (Lines(log).empty())
        Ask(server.Port(), "GET / HTTP/1.0\r\n\r\n");
    EXPECT_EQ(server.Stop(), 0);
}
