// Runs jobs on a pool of threads and logs to a sink of its own: one job fails, one runs until it is told to stop.
#include <iostream>
#include <mutex>

#include "Base/RkCountingSemaphore.h"
#include "Base/RkEvent.h"
#include "Base/RkException.h"
#include "Base/RkThreadPool.h"
#include "Diag/RkLogStream.h"

using namespace kstr::diag;

/// Log lines on standard output. Many threads log at once, so it has a lock.
class OutputSink : public RkLogSink {
public:
    void write(const RkLogRecord& record) override {
        const std::lock_guard guard(m_lock);
        std::cout << record.logger << ": " << record.message << "\n";
    }

private:
    std::mutex m_lock;
};

class Job : public RkRunnable {
public:
    Job(int number, RkCountingSemaphore& over) : m_number(number), m_over(over) {}
    ~Job() override { m_over.Post(); }  // however it ended
    void Run() override {
        if (m_number % 4 == 0)
            throw RkException("job " + std::to_string(m_number) + " has no luck");  // ends this job only
        DIAG_LOG(m_logger, LV_INFO, "job " << m_number << " is done");
    }
    void Stop() override {}  // Run is over before long

private:
    RkLogger m_logger{"Example.Job"};
    const int m_number;
    RkCountingSemaphore& m_over;
};

class Patrol : public RkRunnable {
public:
    explicit Patrol(RkEvent& begun) : m_begun(begun) {}
    void Run() override {
        m_begun.Post();
        while (!m_stopped.Wait(RkTimePeriod(0, 0, 0, 1)))
            DIAG_LOG(m_logger, LV_INFO, "all is quiet");
        DIAG_LOG(m_logger, LV_INFO, "patrol ends");
    }
    void Stop() override { m_stopped.Post(); }  // from another thread: wakes Run

private:
    RkLogger m_logger{"Example.Patrol"};
    RkEvent& m_begun;
    RkEvent m_stopped;
};

int main() {
    RkLogger::setSink(std::make_shared<OutputSink>());
    RkLogger::setLevel("Example", LV_INFO);  // for every name that begins with "Example."

    const RkTimePeriod idle(0, 0, 1);
    RkThreadPool pool(8, 2, true, 0, idle, nullptr);  // 2 to 8 threads; the pool deletes what it has run
    RkEvent begun;
    pool.DoWork(new Patrol(begun));
    RkCountingSemaphore over(0);
    for (int i = 1; i <= 5; ++i)
        pool.DoWork(new Job(i, over));

    bool ok = begun.Wait(RkTimePeriod(0, 0, 1));
    for (int i = 1; i <= 5; ++i)
        ok = over.Wait(RkTimePeriod(0, 0, 1)) && ok;
    std::cout << pool.GetTotal() << " threads\n";
    pool.Stop();  // would drop jobs that have not begun; tells the patrol to end, and waits for all threads
    return ok && pool.GetTotal() == 0 ? 0 : 1;
}
