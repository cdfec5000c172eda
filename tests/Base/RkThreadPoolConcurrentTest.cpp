#include "Base/RkThreadPool.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Base/RkEvent.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/LambdaRunnable.h"

namespace {

const RkTimePeriod NEVER_IDLE_TOO_LONG;

class RkThreadPoolTest : public ::testing::Test {
protected:
    /// A runnable that counts itself, runs `run`, and when told to stop posts the event that `run` is given.
    class Work : public RkRunnable {
    public:
        Work(RkThreadPoolTest& test, std::function<void(RkEvent&)> run) : m_test(test), m_run(std::move(run)) {
            ++m_test.m_living;
        }
        ~Work() override { --m_test.m_living; }
        void Run() override {
            ++m_test.m_runs;
            m_run(m_stopped);
        }
        void Stop() override {
            ++m_test.m_stops;
            m_stopped.Post();
        }

    private:
        RkThreadPoolTest& m_test;
        const std::function<void(RkEvent&)> m_run;
        RkEvent m_stopped;
    };

    void Make(int maxSize, int startSize, const RkTimePeriod& idle = NEVER_IDLE_TOO_LONG,
              RkPooledThreadFactory* factory = nullptr) {
        m_pool = std::make_unique<RkThreadPool>(maxSize, startSize, true, 0, idle, factory);
    }
    void Do(std::function<void(RkEvent&)> run) { m_pool->DoWork(new Work(*this, std::move(run))); }

    /// Hands over work that blocks until it is told to stop, and waits until all of it has begun.
    void Block(int count) {
        std::latch begun(count);
        for (int i = 0; i < count; ++i)
            Do([&](RkEvent& stopped) {
                begun.count_down();
                stopped.Wait(RkTimePeriod(0, 1));
            });
        begun.wait();
    }

    /// Waits for a count of the pool, which no event announces; a wrong one hangs.
    static void AwaitThat(const std::function<bool()>& holds) {
        while (!holds())
            std::this_thread::yield();
    }

    std::atomic<int> m_living = 0, m_runs = 0, m_stops = 0;
    std::unique_ptr<RkThreadPool> m_pool;
};

TEST_F(RkThreadPoolTest, TakesWorkInTheOrderOfItsArrival) {
    Make(1, 1);
    std::vector<int> order, expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    std::latch done(100);
    for (int i : expected)
        Do([&, i](RkEvent&) { order.push_back(i), done.count_down(); });
    done.wait();
    EXPECT_EQ(order, expected);
}

TEST_F(RkThreadPoolTest, GivesBlockedWorkThreadsUpToTheMaximum) {
    for (int startSize : {0, 1, 4}) {
        Make(40, startSize);
        Block(40);
        Do([](RkEvent&) {});
        EXPECT_EQ(m_pool->GetTotal(), 40);
        EXPECT_EQ(m_pool->GetIdle(), 0);
        EXPECT_EQ(m_pool->GetQueued(), 1);
    }
    m_pool.reset();
    EXPECT_EQ(m_runs, 120);
    EXPECT_EQ(m_living, 0);
}

TEST_F(RkThreadPoolTest, AddsNoThreadBeforeWorkHasWaited) {
    constexpr int tenMinutes = 600000;
    m_pool = std::make_unique<RkThreadPool>(100, 2, true, tenMinutes, NEVER_IDLE_TOO_LONG, nullptr);
    std::latch done(1000);
    for (int i = 0; i < 1000; ++i)
        Do([&](RkEvent&) { done.count_down(); });
    done.wait();
    EXPECT_EQ(m_pool->GetTotal(), 2);
}

TEST_F(RkThreadPoolTest, WakesTheMostRecentlyIdleThread) {
    Make(3, 3);
    AwaitThat([&] { return m_pool->GetIdle() == 3; });
    std::latch begun(3), mayEnd[3] = {std::latch(1), std::latch(1), std::latch(1)};
    std::thread::id ids[3];
    for (int i = 0; i < 3; ++i)
        Do([&, i](RkEvent&) {
            ids[i] = std::this_thread::get_id();
            begun.count_down();
            mayEnd[i].wait();
        });
    begun.wait();
    for (int i : {2, 0, 1}) {
        const int idle = m_pool->GetIdle();
        mayEnd[i].count_down();
        AwaitThat([&] { return m_pool->GetIdle() == idle + 1; });
    }
    std::thread::id woken;
    std::latch done(1);
    Do([&](RkEvent&) { woken = std::this_thread::get_id(), done.count_down(); });
    done.wait();
    EXPECT_EQ(woken, ids[1]);
}

TEST_F(RkThreadPoolTest, ShrinksToItsStartSizeAndGrowsAgain) {
    Make(30, 2, RkTimePeriod(0, 0, 0, 0, 10));
    for (int round = 0; round < 3; ++round) {
        std::latch begun(30);
        for (int i = 0; i < 30; ++i)
            Do([&](RkEvent&) { begun.arrive_and_wait(); });
        begun.wait();
        AwaitThat([&] { return m_pool->GetTotal() == 2 && m_pool->GetIdle() == 2; });
    }
}

TEST_F(RkThreadPoolTest, StopReachesWhatRunsAndDropsWhatIsQueued) {
    Make(100, 4);
    Block(100);
    for (int i = 0; i < 10; ++i)
        Do([](RkEvent&) {});
    m_pool->Stop();
    EXPECT_EQ(m_runs, 100);
    EXPECT_EQ(m_stops, 100);
    EXPECT_EQ(m_living, 0);
    EXPECT_EQ(m_pool->GetTotal(), 0);
    Do([](RkEvent&) {});
    EXPECT_EQ(m_living, 0);
    EXPECT_EQ(m_runs, 100);
}

TEST_F(RkThreadPoolTest, NeverDeletesWhatItDoesNotOwn) {
    std::latch done(1);
    LambdaRunnable ran([&] { done.count_down(); }), late([] { FAIL(); });
    RkThreadPool pool(2, 1, false, 0, NEVER_IDLE_TOO_LONG, nullptr);
    pool.DoWork(nullptr);
    pool.DoWork(&ran);
    done.wait();
    pool.Stop();
    pool.DoWork(&late);
}

TEST_F(RkThreadPoolTest, WorkThatBeginsWhileThePoolStopsIsStoppedToo) {
    for (int round = 0; round < 100; ++round) {
        Make(4, 2);
        std::latch handedOver(1);
        std::thread giver([&] {
            for (int i = 0; i < 8; ++i) {
                Do([](RkEvent& stopped) { stopped.Wait(RkTimePeriod(0, 1)); });
                if (i == round % 8)
                    handedOver.count_down();
            }
        });
        handedOver.wait();
        m_pool->Stop();
        giver.join();
        EXPECT_EQ(m_living, 0);
        EXPECT_EQ(m_stops, m_runs);
    }
}

TEST_F(RkThreadPoolTest, MayBeStoppedBySeveralOfItsOwnThreads) {
    Make(8, 4);
    std::latch begun(3), stopped(2);
    for (int i = 0; i < 2; ++i)
        Do([&](RkEvent&) {
            begun.arrive_and_wait();
            m_pool->Stop();
            stopped.count_down();
        });
    Do([&](RkEvent& told) {
        begun.arrive_and_wait();
        told.Wait(RkTimePeriod(0, 1));
    });
    stopped.wait();
    m_pool.reset();
    EXPECT_EQ(m_living, 0);
}

// A server's thread stops its pool while one of its connections waits for that very thread.
TEST_F(RkThreadPoolTest, StopDoesNotWaitForAThreadThatWaitsForAThread) {
    Make(4, 2);
    std::latch mayStop(1);
    LambdaRunnable server([&] {
        mayStop.wait();
        m_pool->Stop();
    });
    RkThread serverThread(server);
    serverThread.Start();
    Do([&](RkEvent&) {
        mayStop.count_down();
        RkThread::WaitForThread(&serverThread);
    });
    RkThread::WaitForThread(&serverThread);
    m_pool.reset();
    EXPECT_EQ(m_living, 0);
}

TEST_F(RkThreadPoolTest, OutlivesWhatItsWorkThrows) {
    const LogCapture log;
    Make(1, 1);
    Do([](RkEvent&) { throw std::runtime_error("no luck"); });
    Do([](RkEvent&) { ::pthread_exit(nullptr); });  // costs the pool its one thread
    std::latch begun(1);
    m_pool->DoWork(new LambdaRunnable(
        [&] {
            begun.count_down();
            AwaitThat([&] { return log->Has("Unknown exception left RkRunnable::Stop"); });
        },
        [] { throw 7; }));
    begun.wait();
    m_pool->Stop();
    EXPECT_TRUE(log->Has("Exception left RkRunnable::Run: no luck"));
    EXPECT_EQ(m_living, 0);
}

TEST_F(RkThreadPoolTest, RunsOnThreadsOfItsFactoryAndTriesAgainWhenThereIsNone) {
    struct Factory : RkPooledThreadFactory {
        RkThread* CreateThread(RkRunnable* loop) override {
            if (++calls == 1)
                return nullptr;
            if (calls == 2)
                throw std::runtime_error("not yet");
            return RkPooledThreadFactory::CreateThread(loop);
        }
        std::atomic<int> calls = 0;
    } factory;
    const LogCapture log;
    Make(2, 1, NEVER_IDLE_TOO_LONG, &factory);
    EXPECT_EQ(m_pool->GetTotal(), 0);
    std::latch done(1);
    Do([&](RkEvent&) { done.count_down(); });
    done.wait();
    EXPECT_EQ(factory.calls, 3);
    EXPECT_TRUE(log->Has("Exception left the start of a pool thread: not yet"));
}

}  // namespace
