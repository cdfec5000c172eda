#include "Network/Network/RkBasicConnectionPool.h"

#include <gtest/gtest.h>

#include "Network/Network/RkBasicConnectionException.h"
#include "Network/Network/RkBasicConnectionRef.h"
#include "tests/support/MessageOf.h"

const RkTimePeriod kNow;

/// Counts the living, and fails its Close when told to.
struct CountedConnection : RkBasicConnection {
    CountedConnection() { ++s_alive; }
    ~CountedConnection() override { --s_alive; }
    void Close() override {
        if (failing)
            throw RkNetworkException("close failed");
    }

    static inline int s_alive = 0;
    bool failing = false;
};

struct CountedPool : RkBasicConnectionPool {
    using RkBasicConnectionPool::RkBasicConnectionPool;
    RkBasicConnection* CreateConnection() override { return barren ? nullptr : new CountedConnection; }

    bool barren = false;
};

struct RkBasicConnectionPoolTest : testing::Test {
    ~RkBasicConnectionPoolTest() override { EXPECT_EQ(CountedConnection::s_alive, 0); }

    static std::string WhyNoLease(RkBasicConnectionPool& pool) {
        return MessageOf<RkBasicConnectionException>([&] { pool.Get(kNow); });
    }
    static void Age(RkBasicConnection* connection, int seconds) {
        connection->SetTimeStamp(RkTimePeriod::SinceEpoch() - RkTimePeriod(0, 0, 0, seconds));
    }
};

TEST_F(RkBasicConnectionPoolTest, HandsOutItsMaximumAndReusesTheOneReturnedLongestAgo) {
    CountedPool pool(0, 2);
    RkBasicConnection* first = pool.Get(kNow);
    RkBasicConnection* second = pool.Get(kNow);
    pool.Done(second, false);
    pool.Done(first, false);
    EXPECT_EQ(pool.Get(kNow), second);
    EXPECT_EQ(pool.Get(kNow), first);
    EXPECT_EQ(WhyNoLease(pool), "Number of connections is maxed out");
    pool.Done(first, true);
    pool.Done(second, false);
}

TEST_F(RkBasicConnectionPoolTest, NullAFailedFactoryAndClearingGiveNoPlaceBack) {
    CountedPool pool(0, 3);
    pool.barren = true;
    EXPECT_EQ(WhyNoLease(pool), "Could not get a new connection");  // and the place is lost
    pool.barren = false;
    pool.Done(pool.Get(kNow), false);
    pool.ClearPool();
    EXPECT_EQ(CountedConnection::s_alive, 0);
    const std::unique_ptr<RkBasicConnection> lost(pool.Get(kNow));  // its holder answers with null
    pool.Done(nullptr, false);
    pool.Done(nullptr, true);
    RkBasicConnection* last = pool.Get(kNow);
    EXPECT_EQ(WhyNoLease(pool), "Number of connections is maxed out");
    pool.Done(last, false);
}

TEST_F(RkBasicConnectionPoolTest, KillingGivesThePlaceBackEvenWhenTheCloseFails) {
    CountedPool pool(0, 1);
    auto* connection = static_cast<CountedConnection*>(pool.Get(kNow));
    connection->failing = true;
    EXPECT_THROW(pool.Done(connection, true), RkNetworkException);
    EXPECT_EQ(CountedConnection::s_alive, 0);
    pool.Done(pool.Get(kNow), false);
}

TEST_F(RkBasicConnectionPoolTest, CleaningUpKeepsTheMinimumAndTheYoung) {
    CountedPool pool(1, 3);
    pool.SetCleanUpTime(RkTimePeriod(0, 0, 0, 10));
    RkBasicConnection* leased[] = {pool.Get(kNow), pool.Get(kNow), pool.Get(kNow)};
    for (RkBasicConnection* connection : leased)
        pool.Done(connection, false);
    Age(leased[0], 11);
    Age(leased[1], 5);
    pool.CleanUp();
    EXPECT_EQ(CountedConnection::s_alive, 2);
    Age(leased[1], 11);
    Age(leased[2], 11);
    pool.CleanUp();
    EXPECT_EQ(CountedConnection::s_alive, 1);
}

TEST_F(RkBasicConnectionPoolTest, AReferenceReturnsItsConnectionOnce) {
    CountedPool pool(0, 1);
    RkTimePeriod timeout;
    {
        RkBasicConnectionRef lease(pool, timeout);
        EXPECT_THROW(RkBasicConnectionRef(pool, timeout), RkBasicConnectionException);
    }
    EXPECT_EQ(CountedConnection::s_alive, 1);
    {
        RkBasicConnectionRef lease(pool, timeout);
        lease.Done(true);
        lease.Done(true);
    }
    EXPECT_EQ(CountedConnection::s_alive, 0);
}
