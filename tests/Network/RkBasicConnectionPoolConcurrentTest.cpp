#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "Network/Network/RkBasicConnectionPool.h"
#include "Network/Network/RkBasicConnectionRef.h"
#include "tests/support/InThreads.h"

constexpr int kMaximum = 5;
constexpr int kThreads = 8;
constexpr int kLeases = 100000;

struct HeldConnection : RkBasicConnection {
    HeldConnection() { s_mostAlive = std::max(s_mostAlive, ++s_alive); }
    ~HeldConnection() override { --s_alive; }

    static inline int s_alive = 0;  // both are guarded by the pool's lock
    static inline int s_mostAlive = 0;
    std::atomic<bool> held = false;
};

struct HeldPool : RkBasicConnectionPool {
    using RkBasicConnectionPool::RkBasicConnectionPool;
    RkBasicConnection* CreateConnection() override { return new HeldConnection; }
};

TEST(RkBasicConnectionPoolConcurrent, NeverLetsMoreThanTheMaximumOutNorOneToTwoHolders) {
    HeldPool pool(1, kMaximum);
    pool.SetCleanUpTime(RkTimePeriod());
    std::atomic<int> out = 0, most = 0, shared = 0;
    const auto lease = [&](int turn) {
        RkTimePeriod timeout(0, 0, 1);
        RkBasicConnectionRef ref(pool, timeout);
        auto& connection = static_cast<HeldConnection&>(*ref.Get());
        shared += connection.held.exchange(true);
        const int now = ++out;
        for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {}
        while (most < kMaximum)  // the first ones wait until all places are taken
            std::this_thread::yield();
        connection.held = false;
        --out;
        if (turn % 3 == 0)
            ref.Done(true);
        if (turn % 100 == 0)
            pool.CleanUp();
    };
    InThreads(kThreads, [&](int) {
        for (int turn = 0; turn < kLeases / kThreads; ++turn)
            lease(turn);
    });
    EXPECT_EQ(most, kMaximum);
    EXPECT_EQ(HeldConnection::s_mostAlive, kMaximum);
    EXPECT_EQ(shared, 0);
}
