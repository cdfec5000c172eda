#include "Base/RkThreadPool.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <functional>
#include <latch>
#include <stdexcept>
#include <thread>
#include <utility>

#include "Base/RkEvent.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/LambdaRunnable.h"

struct RkThreadPoolTest : testing::Test {
    void Make(int maxSize, int startSize, int poolWaitTime = 0, const RkTimePeriod& idle = RkTimePeriod(),
              RkPooledThreadFactory* factory = nullptr) {
        m_pool = std::make_unique<RkThreadPool>(maxSize, startSize, true, poolWaitTime, idle, factory);
    }
    /// Hands over work, which counts itself; `run` is given an event that Stop posts.
    void Do(const std::function<void(RkEvent&)>& run) {
        const auto stopped = std::make_shared<RkEvent>();
        m_pool->DoWork(new LambdaRunnable([=, this, living = m_living] { ++m_runs, run(*stopped); },
                                          [=, this] { ++m_stops, stopped->Post(); }));
    }
    long Living() const { return m_living.use_count() - 1; }
    static void UntilStopped(RkEvent& stopped) { stopped.Wait(RkTimePeriod(0, 1)); }

    /// Hands over work that blocks until it is told to stop, and waits until all of it has begun.
    void Block(int count) {
        std::latch begun(count);
        for (int i = 0; i < count; ++i)
            Do([&](RkEvent& stopped) { begun.count_down(), UntilStopped(stopped); });
        begun.wait();
    }

    /// Waits for a count of the pool, which no event announces; a wrong one hangs.
    static void AwaitThat(const std::function<bool()>& holds) {
        while (!holds())
            std::this_thread::yield();
    }

    static void MoveTo(int processor) {
        cpu_set_t only;
        CPU_ZERO(&only);
        CPU_SET(static_cast<std::size_t>(processor), &only);
        ASSERT_EQ(::sched_setaffinity(0, sizeof only, &only), 0);
    }

    /// Of those that this process may use; the same twice if there is only one.
    static std::pair<int, int> FirstAndLastProcessor() {
        cpu_set_t usable;
        if (::sched_getaffinity(0, sizeof usable, &usable) != 0)
            throw std::runtime_error("cannot tell the processors");
        int first = 0, last = CPU_SETSIZE - 1;
        while (!CPU_ISSET(static_cast<std::size_t>(first), &usable))
            ++first;
        while (!CPU_ISSET(static_cast<std::size_t>(last), &usable))
            --last;
        return {first, last};
    }

    const std::shared_ptr<int> m_living = std::make_shared<int>();  ///< each work that is not deleted yet has a share
    std::atomic<int> m_runs = 0, m_stops = 0;
    std::unique_ptr<RkThreadPool> m_pool;
};

TEST_F(RkThreadPoolTest, TakesWorkInItsOrderAndAddsNoThreadBeforeSomeHasWaited) {
    constexpr int tenMinutes = 600000;
    Make(100, 1, tenMinutes);
    int inOrder = 0;
    std::latch done(1000);
    for (int i = 0; i < 1000; ++i)
        Do([&, i](RkEvent&) { inOrder += inOrder == i, done.count_down(); });
    done.wait();
    EXPECT_EQ(inOrder, 1000);
    EXPECT_EQ(m_pool->GetTotal(), 1);
}

TEST_F(RkThreadPoolTest, GivesBlockedWorkThreadsUpToTheMaximumAndStopReachesThemAll) {
    for (int startSize : {0, 1, 4}) {
        Make(40, startSize);
        Block(40);
        Do(UntilStopped);
        EXPECT_EQ(m_pool->GetTotal(), 40);
        EXPECT_EQ(m_pool->GetIdle(), 0);
        EXPECT_EQ(m_pool->GetQueued(), 1);
        m_pool->Stop();  // drops what is queued
        Do(UntilStopped);
        EXPECT_EQ(m_runs.exchange(0), 40);
        EXPECT_EQ(m_stops.exchange(0), 40);
        EXPECT_EQ(m_pool->GetTotal() + Living(), 0);
    }
}

TEST_F(RkThreadPoolTest, WakesTheMostRecentlyIdleThreadOfTheCallersProcessor) {
    Make(3, 3);
    const auto [first, last] = FirstAndLastProcessor();
    const int processors[] = {first, first, last};
    std::latch begun(4), mayEnd[3] = {std::latch(1), std::latch(1), std::latch(1)};
    std::thread::id ids[3];
    for (int i : {0, 1, 2})
        Do([&, i](RkEvent&) {
            ids[i] = std::this_thread::get_id();
            MoveTo(processors[i]);
            begun.arrive_and_wait(), mayEnd[i].wait();
        });
    begun.arrive_and_wait();
    for (int i : {0, 1, 2}) {
        mayEnd[i].count_down();
        AwaitThat([&] { return m_pool->GetIdle() == i + 1; });
    }
    for (int caller : {first, last, last}) {  // the thread that ran last is the most recently idle one from then on
        std::thread::id woken;
        std::thread([&] { MoveTo(caller), Do([&](RkEvent&) { woken = std::this_thread::get_id(); }); }).join();
        AwaitThat([&] { return m_pool->GetIdle() == 3; });
        EXPECT_EQ(woken, ids[caller == last ? 2 : 1]);
    }
}

TEST_F(RkThreadPoolTest, ShrinksToItsStartSizeAndGrowsAgain) {
    Make(30, 2, 0, RkTimePeriod(0, 0, 0, 0, 10));
    for (int round = 0; round < 3; ++round) {
        std::latch begun(31);
        for (int i = 0; i < 30; ++i)
            Do([&](RkEvent&) { begun.arrive_and_wait(); });
        begun.arrive_and_wait();
        AwaitThat([&] { return m_pool->GetTotal() == 2 && m_pool->GetIdle() == 2; });
    }
}

TEST_F(RkThreadPoolTest, NeverDeletesWhatItDoesNotOwn) {
    std::latch done(1);
    LambdaRunnable ran([&] { done.count_down(); }), late([] { FAIL(); });
    RkThreadPool pool(2, 1, false, 0, RkTimePeriod(), nullptr);
    pool.DoWork(nullptr);
    pool.DoWork(&ran);
    done.wait();
    pool.Stop();
    pool.DoWork(&late);
}

TEST_F(RkThreadPoolTest, WorkThatBeginsWhileThePoolStopsIsStoppedToo) {
    for (int round = 0; round < 100; ++round) {
        Make(4, 2);
        std::latch handedOver(round % 8 + 1);
        std::thread giver([&] {
            for (int i = 0; i < 8; ++i) {
                Do(UntilStopped);
                if (i <= round % 8)
                    handedOver.count_down();
            }
        });
        handedOver.wait();
        m_pool->Stop();
        giver.join();
        EXPECT_EQ(Living(), 0);
        EXPECT_EQ(m_stops, m_runs);
    }
}

// As when a server's thread stops its pool while one connection waits for that thread and others stop the pool as well.
TEST_F(RkThreadPoolTest, MayBeStoppedByItsOwnThreadsAndThoseThatTheyWaitFor) {
    Make(8, 4);
    std::latch begun(4);
    LambdaRunnable server([&] { begun.arrive_and_wait(), m_pool->Stop(); });
    RkThread serverThread(server);
    serverThread.Start();
    Do([&](RkEvent&) { begun.arrive_and_wait(), RkThread::WaitForThread(&serverThread); });
    for (int i = 0; i < 2; ++i)
        Do([&](RkEvent&) { begun.arrive_and_wait(), m_pool->Stop(); });
    RkThread::WaitForThread(&serverThread);
    m_pool.reset();
    EXPECT_EQ(Living(), 0);
}

TEST_F(RkThreadPoolTest, OutlivesWhatItsWorkThrows) {
    const LogCapture log;
    Make(1, 1);
    Do([](RkEvent&) { throw std::runtime_error("no luck"); });
    Do([](RkEvent&) { ::pthread_exit(nullptr); });  // costs the pool its one thread
    std::latch begun(1), told(1);
    m_pool->DoWork(new LambdaRunnable([&] { begun.count_down(), told.wait(); }, [&] { told.count_down(), throw 7; }));
    begun.wait();
    m_pool->Stop();
    EXPECT_EQ(Living(), 0);
    EXPECT_THAT(log->Messages(), testing::ElementsAre("Exception left RkRunnable::Run: no luck",
                                                      "Unknown exception left RkRunnable::Stop"));
}

TEST_F(RkThreadPoolTest, HandsWorkToAnIdleThreadWhileTheFactoryHesitates) {
    struct Factory : RkPooledThreadFactory {
        RkThread* CreateThread(RkRunnable* loop) override {
            if (++calls == 1)
                return RkPooledThreadFactory::CreateThread(loop);
            if (calls == 2)
                asked.count_down(), answer.wait();
            return nullptr;
        }
        std::atomic<int> calls = 0;
        std::latch asked{1}, answer{1};
    } factory;
    const LogCapture log;
    Make(2, 1, 0, RkTimePeriod(), &factory);
    std::latch mayEnd(1), done(1);
    Do([&](RkEvent&) { mayEnd.wait(); });
    Do([](RkEvent&) {});  // waits so long that a second thread is asked for
    factory.asked.wait();
    mayEnd.count_down();
    AwaitThat([&] { return m_pool->GetIdle() == 1; });
    Do([&](RkEvent&) { done.count_down(); });
    done.wait();
    factory.answer.count_down();
    m_pool.reset();
}

TEST_F(RkThreadPoolTest, RunsOnThreadsOfItsFactoryAndTriesAgainWhenThereIsNone) {
    struct Factory : RkPooledThreadFactory {
        RkThread* CreateThread(RkRunnable* loop) override {
            if (++calls == 2)
                throw std::runtime_error("not yet");
            return calls == 1 ? nullptr : RkPooledThreadFactory::CreateThread(loop);
        }
        std::atomic<int> calls = 0;
    } factory;
    const LogCapture log;
    Make(2, 1, 0, RkTimePeriod(), &factory);
    EXPECT_EQ(m_pool->GetTotal(), 0);
    Block(1);
    EXPECT_EQ(factory.calls, 3);
    EXPECT_THAT(log->Messages(), testing::Contains("Exception left the start of a pool thread: not yet"));
    m_pool.reset();
}
