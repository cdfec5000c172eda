#include "Base/RkBStream.h"

#include <gmock/gmock.h>

#include <climits>
#include <limits>
#include <optional>

#include "Base/RkException.h"
#include "tests/support/ScriptedDevice.h"

using testing::ElementsAre;

namespace {

std::vector<std::string> ReadLines(RkBStream& stream, size_t maxLength = 100) {
    std::vector<std::string> lines;
    for (std::string line; stream.ReadLine(line, maxLength);)
        lines.push_back(line);
    return lines;
}

std::string ReadOnce(RkBStream& stream) {
    char data[100];
    const ssize_t came = stream.Read(data, sizeof data);
    return came < 0 ? "failed" : std::string(data, static_cast<size_t>(came));
}

}  // namespace

TEST(RkBStreamTest, SplitsLinesHoweverTheyArrive) {
    const struct {
        std::string text;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"one\ntwo\r\n\r\nthree\n", {"one", "two", "", "three"}},
        {"a\r\r\nb\rc\n\rd\n", {"a\r", "b\rc", "\rd"}},  // one CR, and only before the LF
        {"no terminator\r", {"no terminator\r"}},
        {std::string("\0\xff\n", 3), {std::string("\0\xff", 2)}},
        {std::string(100, 'x') + "\r\ny", {std::string(100, 'x'), "y"}},
    };
    for (const auto& c : cases)
        for (const size_t chunk : {1, 2, 1000}) {
            auto device = ScriptedDevice::InChunks(c.text, chunk);
            RkBStream stream(device);
            EXPECT_EQ(ReadLines(stream), c.lines) << "'" << c.text << "' in chunks of " << chunk;
        }
}

TEST(RkBStreamTest, RefusesLinesAboveTheLimitUntilReset) {
    for (const char* longLine : {"12345\n", "12345\r\n", "1234\r\r\n", "123456", "123456789\n"}) {
        ScriptedDevice device({std::string("1234\r\n") + longLine, "next\n"});
        RkBStream stream(device);
        std::string line;
        EXPECT_TRUE(stream.ReadLine(line, 4)) << longLine;
        EXPECT_FALSE(stream.ReadLine(line, 4)) << longLine;
        EXPECT_EQ(line, "");
        EXPECT_FALSE(stream.ReadLine(line, 100)) << "before Reset";
        stream.Reset();
        EXPECT_THAT(ReadLines(stream), ElementsAre("next")) << longLine;
    }
}

TEST(RkBStreamTest, StopsReadingALineThatNeverEnds) {
    auto device = ScriptedDevice::InChunks(std::string(1000000, 'x'), 1000);
    RkBStream stream(device);
    EXPECT_THAT(ReadLines(stream, 20000), ElementsAre());
    EXPECT_LE(device.reads, 21);
}

TEST(RkBStreamTest, StaysEndedAfterAFailedReadUntilReset) {
    const struct {
        std::string outcome;
        std::vector<std::string> lines;
        std::string read;
    } cases[] = {
        {"", {"whole", "part"}, ""},  // end and time-out look alike: what came is the last line
        {ScriptedDevice::FAILURE, {"whole"}, "failed"},
    };
    for (const auto& c : cases) {
        ScriptedDevice device({"whole\npart", c.outcome, "later\n"});
        RkBStream stream(device);
        std::string text;
        EXPECT_EQ(ReadLines(stream), c.lines);
        EXPECT_FALSE(stream.ReadString(text, 1));
        EXPECT_EQ(ReadOnce(stream), c.read);
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
    EXPECT_EQ(device.reads, 4);
}

TEST(RkBStreamTest, ReadsStringsOfAnExactLength) {
    for (const size_t chunk : {1, 7, 5000, 100000}) {
        const std::string sent = std::string(20000, 'a') + std::string(30000, 'b');
        auto device = ScriptedDevice::InChunks("head\n" + sent + "tail", chunk);
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
    EXPECT_LT(text.capacity(), 100000U);
}

TEST(RkBStreamTest, SmallWritesLeaveTogetherAndLargeOnesUncopied) {
    ScriptedDevice device;
    RkBStream stream(device);
    stream << "head " << std::string(1024, 'x') << '\n' << -5 << ' ' << std::numeric_limits<RkUInt64>::max();
    EXPECT_THAT(device.writes, ElementsAre());
    const std::string small = "head " + std::string(1024, 'x') + "\n-5 18446744073709551615";
    EXPECT_EQ(stream.GetPending(), small);
    stream.Flush();
    EXPECT_THAT(device.writes, ElementsAre(small));
    EXPECT_EQ(device.flushes, 1);

    const std::string large(100000, 'y');
    stream << "before" << large << "after";
    EXPECT_EQ(device.lastWritten, large.data());
    stream.Flush();
    EXPECT_THAT(device.writes, ElementsAre(small, "before", large, "after"));
}

TEST(RkBStreamTest, GoesOnAfterShortWrites) {
    ScriptedDevice device;
    device.longestWrite = 3;
    RkBStream stream(device);
    stream << "abcdefg";
    stream.Flush();
    EXPECT_THAT(device.writes, ElementsAre("abc", "def", "g"));
}

TEST(RkBStreamTest, AFailedWriteIsToldUntilReset) {
    for (bool ScriptedDevice::*failure : {&ScriptedDevice::writesFail, &ScriptedDevice::flushFails}) {
        ScriptedDevice device;
        device.*failure = true;
        RkBStream stream(device);
        stream << "lost";
        EXPECT_THROW(stream.Flush(), RkException);
        device.*failure = false;
        EXPECT_THROW(stream << "after a gap", RkException);
        EXPECT_THROW(stream.Flush(), RkException);
        stream.Reset();
        stream << "again";
        stream.Flush();
        EXPECT_EQ(device.writes.back(), "again");
    }
}

TEST(RkBStreamTest, ItsEndDropsWhatIsPendingWithoutTheDevice) {
    auto device = std::make_unique<ScriptedDevice>();
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
    EXPECT_FALSE(stream.ReadLine(text, 10));
    EXPECT_FALSE(stream.ReadString(text, 1));
    EXPECT_EQ(ReadOnce(stream), "failed");
    EXPECT_THROW(stream << "x", RkException);
    EXPECT_THROW(stream.Flush(), RkException);
    stream.Reset();
    EXPECT_THAT(ReadLines(stream), ElementsAre("three"));
}
