#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <memory>
#include <thread>

#include "Base/RkCountingSemaphore.h"
#include "Base/RkEvent.h"
#include "Base/RkSemLock.h"

const RkTimePeriod FOREVER = RkTimePeriod::FromMicroSeconds(std::numeric_limits<std::int64_t>::max());
const RkTimePeriod PAST = RkTimePeriod::FromMicroSeconds(std::numeric_limits<std::int64_t>::min());
const RkTimePeriod SHORT[] = {RkTimePeriod(), PAST, RkTimePeriod(0, 0, 0, 0, 1)};

TEST(RkEventTest, ReachesEveryWaiterWhoMayThenDestroyIt) {
    for (int i = 0; i < 100; ++i) {
        auto event = std::make_unique<RkEvent>();
        for (const auto& timeout : SHORT)
            EXPECT_FALSE(event->Wait(timeout));
        auto waiter = std::async(std::launch::async, [&raw = *event] { return raw.Wait(FOREVER); });
        std::thread poster([&raw = *event] { raw.Post(); });
        EXPECT_TRUE(waiter.get());
        EXPECT_TRUE(event->wait(0));
        event.reset();
        poster.join();
    }
}

TEST(RkCountingSemaphoreTest, HandsOutItsUnitsAndThoseThatComeBack) {
    RkCountingSemaphore units(1);
    EXPECT_TRUE(units.Wait(PAST));
    for (const auto& timeout : SHORT)
        EXPECT_FALSE(units.Wait(timeout));
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
