#include "Base/RkBStream.h"

#include <gmock/gmock.h>

#include <climits>
#include <optional>

#include "Base/RkBStreamTrace.h"
#include "Base/RkException.h"
#include "tests/support/ScriptedDevice.h"

using testing::ElementsAre;
using Texts = std::vector<std::string>;

/// A stream over a device with a script.
struct Scripted {
    explicit Scripted(std::deque<std::string> script = {}, size_t chunk = 100000) : device(std::move(script)) {
        device.longestRead = chunk;
    }
    Texts ReadLines(size_t maxLength = 100) {
        Texts lines;
        for (std::string line; stream.ReadLine(line, maxLength);)
            lines.push_back(line);
        return lines;
    }
    std::string Read() {
        char data[100];
        const ssize_t came = stream.Read(data, sizeof data);
        return came < 0 ? "failed" : std::string(data, static_cast<size_t>(came));
    }
    ScriptedDevice device;
    RkBStream stream{device};
    std::string text;
};

TEST(RkBStreamTest, SplitsLinesHoweverTheyArrive) {
    const std::pair<std::string, Texts> cases[] = {
        {"one\ntwo\r\n\r\nthree\n", {"one", "two", "", "three"}},
        {"a\r\r\nb\rc\n\rd\n", {"a\r", "b\rc", "\rd"}},  // one CR, and only before the LF
        {std::string(100, 'x') + "\r\nno terminator\r", {std::string(100, 'x'), "no terminator\r"}},
    };
    for (const auto& [text, lines] : cases)
        for (const size_t chunk : {1U, 2U, 1000U})
            EXPECT_EQ(Scripted({text}, chunk).ReadLines(), lines) << "'" << text << "' in chunks of " << chunk;
}

TEST(RkBStreamTest, RefusesLinesAboveTheLimitUntilReset) {
    for (const std::string longLine : {"12345\nunread\n", "1234\r\r\n", "123456", "12345678\n"}) {
        Scripted peer({"1234\r\n" + longLine, "next\n"});
        EXPECT_THAT(peer.ReadLines(4), ElementsAre("1234")) << longLine;
        EXPECT_FALSE(peer.stream.ReadLine(peer.text = "old", 100));
        EXPECT_EQ(peer.text, "");
        peer.stream.Reset();
        EXPECT_THAT(peer.ReadLines(), ElementsAre("next")) << longLine;
    }
    Scripted endless({std::string(1000000, 'x')}, 1000);
    EXPECT_THAT(endless.ReadLines(20000), ElementsAre());
    EXPECT_LE(endless.device.reads, 21);
}

TEST(RkBStreamTest, StaysEndedAfterAFailedReadUntilReset) {
    const std::tuple<std::string, Texts, std::string> cases[] = {
        {"", {"whole", "part"}, ""},  // end and time-out look alike: what came is the last line
        {ScriptedDevice::FAILURE, {"whole"}, "failed"},
    };
    for (const auto& [outcome, lines, read] : cases) {
        Scripted peer({"whole\npart", outcome, "later\n"});
        EXPECT_EQ(peer.ReadLines(), lines);
        EXPECT_EQ(peer.Read(), read);
        EXPECT_EQ(peer.device.reads, 2);
        peer.stream.Reset();
        EXPECT_THAT(peer.ReadLines(), ElementsAre("later"));
    }
}

TEST(RkBStreamTest, ReadTakesWhatIsBufferedElseReadsTheDeviceOnce) {
    Scripted peer({"line\nrest", "more", "", "after a time-out"});
    ASSERT_TRUE(peer.stream.ReadLine(peer.text, 10));
    for (const char* expected : {"rest", "more", "", "after a time-out"})
        EXPECT_EQ(peer.Read(), expected);
}

TEST(RkBStreamTest, ReadsStringsOfAnExactLength) {
    const std::string sent = std::string(20000, 'a') + std::string(30000, 'b');
    for (const size_t chunk : {1U, 5000U, 100000U}) {
        Scripted peer({"head\n" + sent + "tail"}, chunk);
        EXPECT_TRUE(peer.stream.ReadLine(peer.text, 10) && peer.stream.ReadString(peer.text, sent.size()));
        EXPECT_TRUE(peer.text == sent) << "chunks of " << chunk;
        EXPECT_FALSE(peer.stream.ReadString(peer.text, SSIZE_MAX));  // room grows with what arrives
        EXPECT_EQ(peer.text, "tail");
    }
    Scripted peer({"text"});
    EXPECT_FALSE(peer.stream.ReadString(peer.text, static_cast<size_t>(-5)));
    EXPECT_EQ(peer.device.reads, 0);
}

TEST(RkBStreamTest, SmallWritesLeaveTogetherAndLargeOnesUncopied) {
    Scripted peer;
    peer.stream << "head " << std::string(1024, 'x') << '\n' << -5 << ' ' << RkUInt64(-1);
    const std::string small = "head " + std::string(1024, 'x') + "\n-5 18446744073709551615";
    EXPECT_EQ(peer.stream.GetPending(), small);
    peer.stream.Flush();
    EXPECT_EQ(peer.device.flushes, 1);
    const std::string large(100000, 'y');
    peer.stream << "before" << large << "after";
    EXPECT_EQ(peer.device.lastWritten, large.data());
    peer.stream.Flush();
    EXPECT_THAT(peer.device.writes, ElementsAre(small, "before", large, "after"));
}

TEST(RkBStreamTest, AFailedWriteIsToldUntilReset) {
    for (const std::string text : {"", "pending"}) {  // the flush of the device fails, or the write before it
        Scripted peer;
        peer.device.fails = true;
        peer.stream << text;
        EXPECT_THROW(peer.stream.Flush(), RkException);
        peer.device.fails = false;
        EXPECT_THROW(peer.stream << "after a gap", RkException);
        peer.stream.Reset();
        (peer.stream << "again").Flush();
        EXPECT_THAT(peer.device.writes, ElementsAre("again"));
    }
}

TEST(RkBStreamTest, ItsEndDropsWhatIsPendingWithoutTheDevice) {
    std::optional<ScriptedDevice> device(std::in_place);
    std::optional<RkBStream> stream(*device);
    *stream << "pending";
    device.reset();
    stream.reset();  // under the address sanitizer: nothing of the device is used
}

TEST(RkBStreamTest, AbortFailsAllButReset) {
    Scripted peer({"one\ntwo\n", "three\n"});
    ASSERT_TRUE(peer.stream.ReadLine(peer.text, 10));
    peer.stream.Abort();
    EXPECT_FALSE(peer.stream.ReadLine(peer.text, 10) || peer.stream.ReadString(peer.text, 1));
    EXPECT_EQ(peer.Read(), "failed");
    EXPECT_THROW(peer.stream << "x", RkException);
    peer.stream.Reset();
    EXPECT_THAT(peer.ReadLines(), ElementsAre("three"));
}

TEST(RkBStreamTraceTest, RecordsWhatPassesWhileEnabled) {
    struct : RkTrace {
        bool IsEnabled() const override { return records.size() < 3; }
        void Write(const std::string& record) override { records.push_back(record); }
        Texts records;
    } trace;
    ScriptedDevice device({"line\r\nstring"});
    RkBStreamTrace stream(device, trace);
    std::string text;
    EXPECT_TRUE(stream.ReadLine(text, 10) && stream.ReadString(text, 6));
    stream << 7 << "unseen";
    EXPECT_THAT(trace.records, ElementsAre("read: line", "read: string", "write: 7"));
}
