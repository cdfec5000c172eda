#include "Network/Network/RkSelect.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <thread>

#include "Network/Network/RkMaxFdSetSize.h"
#include "tests/support/DescriptorLimit.h"

using testing::ElementsAre;

const RkTimePeriod POLL;
const RkTimePeriod LONG(0, 0, 1);

/// A pipe; both ends are watched, the read end is ready once something was written.
struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(m_ends, O_CLOEXEC), 0); }
    ~Pipe() {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }
    int Out() const { return m_ends[0]; }
    int In() const { return m_ends[1]; }
    void Write() const { EXPECT_EQ(::write(m_ends[1], "x", 1), 1); }

    int m_ends[2];
};

RkSelect::SockVec_t Readers(RkSelect& select) {
    RkSelect::SockVec_t readers{-7};
    select.Readers(readers);
    return readers;
}

TEST(RkSelectTest, ReportsReadyHandlesInAscendingOrderAndForgetsWhatIsNoLongerWatched) {
    const Pipe a, b, c;
    RkSelect select;
    for (const Pipe* pipe : {&c, &a, &b, &a})
        select.AddReader(pipe->Out());
    select.AddWriter(b.In());
    EXPECT_EQ(select.Select(POLL, false), 1);
    EXPECT_THAT(Readers(select), ElementsAre());
    c.Write();
    a.Write();
    EXPECT_EQ(select.Select(POLL, true), 3);
    EXPECT_THAT(Readers(select), ElementsAre(a.Out(), c.Out()));
    EXPECT_TRUE(select.Readable(a.Out()) && select.Writable(b.In()));
    EXPECT_FALSE(select.Readable(b.Out()) || select.Writable(a.Out()) || select.Exceptional(a.Out()));
    select.RemoveReader(c.Out());  // the highest
    EXPECT_EQ(select.Select(POLL, true), 2);
    EXPECT_FALSE(select.Readable(c.Out()));
}

TEST(RkSelectTest, ZeroPeriodWaitsWithoutLimitIfToldSo) {
    const Pipe pipe;
    RkSelect select;
    select.AddReader(pipe.Out());
    std::thread writer([&] { pipe.Write(); });
    EXPECT_EQ(select.Select(POLL, true), 1);
    writer.join();
}

TEST(RkSelectTest, DescriptorZeroIsNeverReady) {
    const Pipe pipe;
    pipe.Write();
    const int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
    ASSERT_EQ(::dup2(pipe.Out(), 0), 0);
    RkSelect select;
    select.AddReader(0);
    EXPECT_EQ(select.Select(LONG, true), 1);
    EXPECT_FALSE(select.Readable(0));
    EXPECT_THAT(Readers(select), ElementsAre(0));  // the list has it
    ::dup2(saved, 0);
    ::close(saved);
}

TEST(RkSelectTest, IgnoresMinusOneAndFailsOnABadHandle) {
    const Pipe pipe;
    RkSelect select;
    select.AddReader(-1);
    EXPECT_EQ(select.Select(POLL, false), 0);
    EXPECT_FALSE(select.Readable(-1));
    const int closed = ::dup(pipe.Out());
    ::close(closed);
    select.AddReader(closed);
    EXPECT_EQ(select.Select(LONG, true), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(RkSelectDeathTest, HandlesAboveTheLimitEndTheProcess) {
    const int handle = RkMaxFdSetSize::MaxFD;
    const std::string message = "^ERROR\\(Kestrion\\): overflowing fd_set with fd\\(" + std::to_string(handle) +
                                "\\) >= fd_set size\\(" + std::to_string(handle) + "\\)\n$";
    RkSelect select;
    select.RemoveReader(handle);
    EXPECT_DEATH(select.AddReader(handle), message);
    EXPECT_DEATH(select.Readable(handle), message);
}

TEST(RkSelectTest, SizesItsSetsByTheLimitAtLoadTime) {
    EXPECT_TRUE(PassesWithDescriptorLimit(1000, "RkMaxFdSetSizeTest.DISABLED_1000"));
}

TEST(RkMaxFdSetSizeTest, DISABLED_1000) {
    EXPECT_EQ(RkMaxFdSetSize::MaxFD, 1024);
    EXPECT_EQ(RkMaxFdSetSize::SetSize, 128);
}

TEST(RkSelectTest, WatchesDescriptorsAboveTheFixedSetSize) {
    EXPECT_TRUE(PassesWithDescriptorLimit(20000, "RkHighSelectTest.*"));
}

TEST(RkHighSelectTest, DISABLED_Watches) {
    const Pipe pipe, other;
    pipe.Write();
    const int high = ::fcntl(pipe.Out(), F_DUPFD_CLOEXEC, 19990), quiet = ::fcntl(other.Out(), F_DUPFD_CLOEXEC, 5000);
    RkSelect select;
    select.AddReader(quiet);
    select.AddReader(high);
    EXPECT_EQ(select.Select(LONG, false), 1);
    EXPECT_THAT(Readers(select), ElementsAre(high));
    select.RemoveReader(high);
    EXPECT_EQ(select.Select(POLL, false), 0);
    EXPECT_FALSE(select.Readable(high));
}

TEST(RkHighSelectTest, DISABLED_SetGrowsAndKeepsItsBits) {
    RkFdSet set;
    set.SetBit(3);
    EXPECT_FALSE(set.HasBit(19990));
    fd_set* const whole = set.get();
    set.SetBit(19990);
    EXPECT_TRUE(set.HasBit(3) && set.HasBit(19990));
    set.clear();
    EXPECT_FALSE(set.HasBit(3) || set.HasBit(19990));
    EXPECT_EQ(&set, whole);
}
