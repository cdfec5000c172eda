#include "Base/RkBStream.h"

#include <gmock/gmock.h>

#include <climits>
#include <optional>

#include "Base/RkBStreamTrace.h"
#include "Base/RkException.h"
#include "tests/support/ScriptedDevice.h"

using testing::ElementsAre;
using Lines = std::vector<std::string>;

namespace {

Lines ReadLines(RkBStream& stream, size_t maxLength = 100) {
    Lines lines;
    for (std::string line; stream.ReadLine(line, maxLength);)
        lines.push_back(line);
    return lines;
}

std::string ReadOnce(RkBStream& stream) {
    char data[100];
    const ssize_t came = stream.Read(data, sizeof data);
    return came < 0 ? "failed" : std::string(data, static_cast<size_t>(came));
}

class Recorder : public RkTrace {
public:
    bool IsEnabled() const override { return records.size() < 4; }
    void Write(const std::string& record) override { records.push_back(record); }
    Lines records;
};

}  // namespace

TEST(RkBStreamTest, SplitsLinesHoweverTheyArrive) {
    const std::pair<std::string, Lines> cases[] = {
        {"one\ntwo\r\n\r\nthree\n", {"one", "two", "", "three"}},
        {"a\r\r\nb\rc\n\rd\n", {"a\r", "b\rc", "\rd"}},  // one CR, and only before the LF
        {"no terminator\r", {"no terminator\r"}},
        {std::string(100, 'x') + "\r\n" + std::string("\0\xff", 2), {std::string(100, 'x'), std::string("\0\xff", 2)}},
    };
    for (const auto& [text, lines] : cases)
        for (const size_t chunk : {1, 2, 1000}) {
            ScriptedDevice device(text, chunk);
            RkBStream stream(device);
            EXPECT_EQ(ReadLines(stream), lines) << "'" << text << "' in chunks of " << chunk;
        }
}

TEST(RkBStreamTest, RefusesLinesAboveTheLimitUntilReset) {
    for (const std::string longLine : {"12345\n", "1234\r\r\n", "123456", "12345678\n"}) {
        ScriptedDevice device({"1234\r\n" + longLine, "next\n"});
        RkBStream stream(device);
        EXPECT_THAT(ReadLines(stream, 4), ElementsAre("1234")) << longLine;
        std::string line = "old";
        EXPECT_FALSE(stream.ReadLine(line, 100));
        EXPECT_EQ(line, "");
        stream.Reset();
        EXPECT_THAT(ReadLines(stream), ElementsAre("next")) << longLine;
    }
}

TEST(RkBStreamTest, StopsReadingALineThatNeverEnds) {
    ScriptedDevice device(std::string(1000000, 'x'), 1000);
    RkBStream stream(device);
    EXPECT_THAT(ReadLines(stream, 20000), ElementsAre());
    EXPECT_LE(device.reads, 21);
}

TEST(RkBStreamTest, StaysEndedAfterAFailedReadUntilReset) {
    const std::tuple<std::string, Lines, std::string> cases[] = {
        {"", {"whole", "part"}, ""},  // end and time-out look alike: what came is the last line
        {ScriptedDevice::FAILURE, {"whole"}, "failed"},
    };
    for (const auto& [outcome, lines, read] : cases) {
        ScriptedDevice device({"whole\npart", outcome, "later\n"});
        RkBStream stream(device);
        EXPECT_EQ(ReadLines(stream), lines);
        EXPECT_EQ(ReadOnce(stream), read);
        EXPECT_EQ(device.reads, 2);
        stream.Reset();
        EXPECT_THAT(ReadLines(stream), ElementsAre("later"));
    }
}

TEST(RkBStreamTest, ReadTakesWhatIsBufferedElseReadsTheDeviceOnce) {
    ScriptedDevice device({"line\nrest", "more", "", "after a time-out"});
    RkBStream stream(device);
    std::string line;
    ASSERT_TRUE(stream.ReadLine(line, 10));
    for (const char* expected : {"rest", "more", "", "after a time-out"})
        EXPECT_EQ(ReadOnce(stream), expected);
}

TEST(RkBStreamTest, ReadsStringsOfAnExactLength) {
    for (const size_t chunk : {1, 5000, 100000}) {
        const std::string sent = std::string(20000, 'a') + std::string(30000, 'b');
        ScriptedDevice device("head\n" + sent + "tail", chunk);
        RkBStream stream(device);
        std::string text;
        ASSERT_TRUE(stream.ReadLine(text, 10));
        EXPECT_TRUE(stream.ReadString(text, sent.size()));
        EXPECT_TRUE(text == sent) << "chunks of " << chunk;
        EXPECT_THAT(ReadLines(stream), ElementsAre("tail"));
    }
}

TEST(RkBStreamTest, AStringGrowsWithWhatArrivesNotWithWhatWasAskedFor) {
    ScriptedDevice device({"only this"});
    RkBStream stream(device);
    std::string text;
    EXPECT_FALSE(stream.ReadString(text, static_cast<size_t>(-5)));  // a negative number handed on
    EXPECT_EQ(device.reads, 0);
    EXPECT_FALSE(stream.ReadString(text, SSIZE_MAX));
    EXPECT_EQ(text, "only this");
}

TEST(RkBStreamTest, SmallWritesLeaveTogetherAndLargeOnesUncopied) {
    ScriptedDevice device;
    RkBStream stream(device);
    stream << "head " << std::string(1024, 'x') << '\n' << -5 << ' ' << RkUInt64(-1);
    const std::string small = "head " + std::string(1024, 'x') + "\n-5 18446744073709551615";
    EXPECT_EQ(stream.GetPending(), small);
    stream.Flush();
    EXPECT_EQ(device.flushes, 1);
    const std::string large(100000, 'y');
    stream << "before" << large << "after";
    EXPECT_EQ(device.lastWritten, large.data());
    stream.Flush();
    EXPECT_THAT(device.writes, ElementsAre(small, "before", large, "after"));
}

TEST(RkBStreamTest, AFailedWriteIsToldUntilReset) {
    for (const std::string text : {"", "pending"}) {  // the flush of the device fails, or the write before it
        ScriptedDevice device;
        device.fails = true;
        RkBStream stream(device);
        stream << text;
        EXPECT_THROW(stream.Flush(), RkException);
        device.fails = false;
        EXPECT_THROW(stream << "after a gap", RkException);
        stream.Reset();
        stream << "again";
        stream.Flush();
        EXPECT_THAT(device.writes, ElementsAre("again"));
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
    ScriptedDevice device({"one\ntwo\n", "three\n"});
    RkBStream stream(device);
    std::string text;
    ASSERT_TRUE(stream.ReadLine(text, 10));
    stream.Abort();
    EXPECT_FALSE(stream.ReadLine(text, 10) || stream.ReadString(text, 1));
    EXPECT_EQ(ReadOnce(stream), "failed");
    EXPECT_THROW(stream << "x", RkException);
    stream.Reset();
    EXPECT_THAT(ReadLines(stream), ElementsAre("three"));
}

TEST(RkBStreamTraceTest, RecordsWhatPassesWhileEnabled) {
    ScriptedDevice device({"line\r\nstring", "tail"});
    Recorder trace;
    RkBStreamTrace stream(device, trace);
    std::string text;
    stream.ReadLine(text, 10);
    stream.ReadString(text, 6);
    ReadOnce(stream);
    stream << 7 << "unseen";
    EXPECT_THAT(trace.records, ElementsAre("read: line", "read: string", "read: tail", "write: 7"));
    EXPECT_EQ(stream.GetPending(), "7unseen");
}
