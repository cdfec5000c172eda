#include <gmock/gmock.h>
#include <pthread.h>

#include <future>
#include <latch>

#include "Base/RkException.h"
#include "Base/RkThread.h"
#include "tests/support/CapturingSink.h"
#include "tests/support/LambdaRunnable.h"

TEST(RkThreadTest, LetsEveryWaiterGoWhenItEndsAndNobodyWaitsForOneThatDoesNotRun) {
    std::latch mayEnd(1);
    LambdaRunnable work([&] { mayEnd.wait(); });
    RkThread thread(work);
    RkThread::WaitForThread(nullptr);
    RkThread::WaitForThread(&thread);
    thread.Start();
    const auto wait = [&] { RkThread::WaitForThread(&thread); };
    auto first = std::async(std::launch::async, wait), second = std::async(std::launch::async, wait);
    EXPECT_TRUE(thread.GetRunning());
    mayEnd.count_down();
    first.get();
    EXPECT_FALSE(thread.GetRunning());
    thread.Start();
    EXPECT_FALSE(thread.GetRunning());  // once is enough
}

TEST(RkThreadTest, KnowsItselfWhileItRunsOnly) {
    RkThread* self = nullptr;
    LambdaRunnable work([&] {
        EXPECT_TRUE(self->IsCurrent());
        EXPECT_EQ(self->GetThreadId(), RkOS::CurrentThread());
        RkThread::WaitForThread(self);  // its own end is nothing to wait for
    });
    RkThread thread(work);
    self = &thread;
    thread.Start();
    EXPECT_FALSE(thread.IsCurrent());
    RkThread::WaitForThread(&thread);
    EXPECT_EQ(thread.GetThreadId(), RkOS::Thread_t{});
}

TEST(RkThreadTest, EndsByWhatLeavesItsRunButDoesNotPassItOn) {
    const std::pair<LambdaRunnable::Call, std::vector<std::string>> cases[] = {
        {[] { throw RkException("no luck"); }, {"Exception left RkThread::Run: no luck"}},
        {[] { throw 7; }, {"Unknown exception left RkThread::Run"}},
        {[] { ::pthread_exit(nullptr); }, {}},
    };
    for (const auto& [run, lines] : cases) {
        const LogCapture log;
        LambdaRunnable work(run);
        RkThread thread(work);
        thread.Start();
        RkThread::WaitForThread(&thread);
        EXPECT_EQ(log->Messages(), lines);
    }
}

TEST(RkThreadTest, ShutdownOutlivesAThreadThatDestroysItself) {
    struct SelfDestroying : RkThread {
        SelfDestroying(RkThreadGroup& group, int& stops) : RkThread(group, true), m_stops(stops) {}
        ~SelfDestroying() override { m_stops += 10; }
        void Run() override { m_mayEnd.wait(); }
        void Stop() override { ++m_stops, m_mayEnd.count_down(); }
        std::latch m_mayEnd{1};
        int& m_stops;
    };
    int stops = 0;
    RkThreadGroup group;
    auto* thread = new SelfDestroying(group, stops);
    thread->Start();
    EXPECT_THAT(group.GetThreads(), testing::ElementsAre(thread));
    thread->Shutdown();
    EXPECT_EQ(stops, 11);
    EXPECT_THAT(group.GetThreads(), testing::IsEmpty());
}
