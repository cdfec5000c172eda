#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "Base/RkBStream.h"

namespace {

/// Gives line after line without end.
class EndlessDevice : public RkDevice {
public:
    ssize_t Read(char* data, size_t) override { return *data = '\n', 1; }
    ssize_t Write(const char*, size_t count) override { return static_cast<ssize_t>(count); }
    bool Flush() override { return true; }
    void Close() override {}
};

}  // namespace

TEST(RkBStreamConcurrentTest, AbortEndsAReadingLoopOfAnotherThread) {
    EndlessDevice device;
    RkBStream stream(device);
    std::latch reading(1);
    std::thread reader([&] {
        std::string line;
        EXPECT_TRUE(stream.ReadLine(line, 10));
        reading.count_down();
        while (stream.ReadLine(line, 10)) {}
    });
    reading.wait();
    stream.Abort();
    reader.join();  // hangs if the reader does not see it
}
