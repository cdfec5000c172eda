#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <thread>
#include <vector>

#include "Base/RkCountingSemaphore.h"
#include "Base/RkEvent.h"
#include "Base/RkSemLock.h"

namespace {

const RkTimePeriod LONG(0, 0, 1);
const RkTimePeriod FOREVER = RkTimePeriod::FromMicroSeconds(std::numeric_limits<std::int64_t>::max());
const RkTimePeriod PAST = RkTimePeriod::FromMicroSeconds(std::numeric_limits<std::int64_t>::min());

TEST(RkEventTest, ReachesEveryWaiterAndStaysPosted) {
    RkEvent event;
    std::vector<std::future<bool>> waiters;
    for (const auto& timeout : {LONG, FOREVER})
        waiters.push_back(std::async(std::launch::async, [&] { return event.Wait(timeout); }));
    event.Post();
    for (auto& waiter : waiters)
        EXPECT_TRUE(waiter.get());
    EXPECT_TRUE(event.wait(0));
    EXPECT_TRUE(event.Wait(PAST));
}

TEST(RkEventTest, ZeroOnlyLooksAndATimeOutIsNoEvent) {
    RkEvent event;
    for (const auto& timeout : {RkTimePeriod(), PAST, RkTimePeriod(0, 0, 0, 0, 1)})
        EXPECT_FALSE(event.Wait(timeout)) << timeout.TotalMicroSeconds();
    EXPECT_FALSE(event.wait(0));
    EXPECT_FALSE(event.wait(1));
}

TEST(RkEventTest, MayBeDestroyedByItsWaiter) {
    for (int i = 0; i < 200; ++i) {
        auto event = std::make_unique<RkEvent>();
        std::thread poster([&raw = *event] { raw.Post(); });
        EXPECT_TRUE(event->Wait(LONG));
        event.reset();
        poster.join();
    }
}

TEST(RkCountingSemaphoreTest, HandsOutItsUnitsAndThoseThatComeBack) {
    RkCountingSemaphore units(2);
    EXPECT_TRUE(units.Wait(RkTimePeriod()));
    EXPECT_TRUE(units.Wait(LONG));
    EXPECT_FALSE(units.Wait(RkTimePeriod()));
    EXPECT_FALSE(units.Wait(RkTimePeriod(0, 0, 0, 0, 1)));
    auto waiter = std::async(std::launch::async, [&] { return units.Wait(FOREVER); });
    units.Post();
    EXPECT_TRUE(waiter.get());
    EXPECT_FALSE(units.Wait(PAST));
}

TEST(RkSemLockTest, LetsItsHolderInAgainAndOthersOnlyAfterTheLastScope) {
    RkCriticalSection section;
    int value = 0;
    std::thread other;
    {
        const RkSemLock outer(section);
        other = std::thread([&] {
            const RkSemLock lock(section);
            value *= 2;
        });
        { const RkSemLock inner(section); }
        value = 21;
    }
    other.join();
    EXPECT_EQ(value, 42);
}

}  // namespace
