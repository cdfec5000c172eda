#include "Base/RkBStreamTrace.h"

#include <gmock/gmock.h>

#include "tests/support/ScriptedDevice.h"

namespace {

class Recorder : public RkTrace {
public:
    bool IsEnabled() const override { return enabled; }
    void Write(const std::string& record) override { records.push_back(record); }

    bool enabled = true;
    std::vector<std::string> records;
};

}  // namespace

TEST(RkBStreamTraceTest, RecordsWhatPassesWhileEnabled) {
    ScriptedDevice device({"line\r\nstring", "tail", ""});
    Recorder trace;
    RkBStreamTrace stream(device, trace);
    std::string text;
    char data[10];
    stream.ReadLine(text, 10);
    stream.ReadString(text, 6);
    stream.Read(data, sizeof data);
    stream.ReadLine(text, 10);
    stream << "out" << 7;
    trace.enabled = false;
    stream << "unseen";
    EXPECT_THAT(trace.records,
                testing::ElementsAre("read: line", "read: string", "read: tail", "write: out", "write: 7"));
    EXPECT_EQ(stream.GetPending(), "out7unseen");
}
