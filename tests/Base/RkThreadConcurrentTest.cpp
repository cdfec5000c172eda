#include <gtest/gtest.h>
#include <pthread.h>

#include <future>
#include <latch>
#include <stdexcept>
#include <vector>

#include "Base/RkException.h"
#include "Base/RkThread.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/LambdaRunnable.h"

namespace {

TEST(RkThreadTest, LetsEveryWaiterGoWhenItEnds) {
    std::latch mayEnd(1);
    LambdaRunnable work([&] { mayEnd.wait(); });
    RkThread thread(work);
    thread.Start();
    std::vector<std::future<bool>> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.push_back(std::async(std::launch::async, [&] {
            RkThread::WaitForThread(&thread);
            return thread.GetRunning();
        }));
    EXPECT_TRUE(thread.GetRunning());
    mayEnd.count_down();
    for (auto& waiter : waiters)
        EXPECT_FALSE(waiter.get());
}

TEST(RkThreadTest, NobodyWaitsForAThreadThatIsNotRunning) {
    int runs = 0;
    LambdaRunnable work([&] { ++runs; });
    RkThread thread(work);
    RkThread::WaitForThread(nullptr);
    RkThread::WaitForThread(&thread);
    EXPECT_EQ(runs, 0);
    for (int i = 0; i < 2; ++i) {
        thread.Start();
        RkThread::WaitForThread(&thread);
    }
    EXPECT_EQ(runs, 1);
}

TEST(RkThreadTest, KnowsItselfWhileItRunsOnly) {
    RkThread* self = nullptr;
    bool isCurrent = false;
    RkOS::Thread_t id{};
    LambdaRunnable work([&] {
        isCurrent = self->IsCurrent();
        id = self->GetThreadId();
        RkThread::WaitForThread(self);  // its own end is nothing to wait for
    });
    RkThread thread(work);
    self = &thread;
    EXPECT_NE(thread.GetThreadId(), RkOS::CurrentThread());
    thread.Start();
    EXPECT_FALSE(thread.IsCurrent());
    RkThread::WaitForThread(&thread);
    EXPECT_TRUE(isCurrent);
    EXPECT_NE(id, RkOS::Thread_t{});
    EXPECT_EQ(thread.GetThreadId(), RkOS::Thread_t{});
}

TEST(RkThreadTest, EndsButDoesNotPassOnWhatItsRunThrows) {
    const struct {
        LambdaRunnable::Call run;
        const char* message;
    } cases[] = {
        {[] { throw RkException("no luck"); }, "Exception left RkThread::Run: no luck"},
        {[] { throw 7; }, "Unknown exception left RkThread::Run"},
    };
    for (const auto& c : cases) {
        const LogCapture log;
        LambdaRunnable work(c.run);
        RkThread thread(work);
        thread.Start();
        RkThread::WaitForThread(&thread);
        EXPECT_TRUE(log->Has(c.message)) << c.message;
    }
}

TEST(RkThreadTest, EndsByPthreadExitToo) {
    LambdaRunnable work([] { ::pthread_exit(nullptr); });
    RkThread thread(work);
    thread.Start();
    RkThread::WaitForThread(&thread);
    EXPECT_FALSE(thread.GetRunning());
    EXPECT_TRUE(RkThreadGroup::Default().GetThreads().empty());
}

TEST(RkThreadTest, DestroysItselfUnderTheEyesOfItsWaiter) {
    struct SelfDestroying : RkThread {
        SelfDestroying(RkThreadGroup& group, bool& isGone) : RkThread(group, true), m_isGone(isGone) {}
        ~SelfDestroying() override { m_isGone = true; }
        void Run() override { m_mayEnd.wait(); }
        void Stop() override { m_mayEnd.count_down(); }
        std::latch m_mayEnd{1};
        bool& m_isGone;
    };
    bool isGone = false;
    RkThreadGroup group;
    auto* thread = new SelfDestroying(group, isGone);
    thread->Start();
    EXPECT_EQ(group.GetThreads(), std::vector<RkThread*>{thread});
    thread->Shutdown();
    EXPECT_TRUE(isGone);
    EXPECT_TRUE(group.GetThreads().empty());
}

TEST(RkThreadTest, ShutdownStopsOnceAndWaits) {
    std::latch stopped(1);
    int stops = 0;
    LambdaRunnable work([&] { stopped.wait(); }, [&] { ++stops, stopped.count_down(); });
    RkThread thread(work);
    thread.Start();
    thread.Shutdown();
    EXPECT_FALSE(thread.GetRunning());
    thread.Shutdown();
    EXPECT_EQ(stops, 1);
}

}  // namespace
