#include "Base/RkPoolWorker.h"

#include <pthread.h>

#include <string>

#include "Base/RkSwallow.h"

namespace {

void NameThread(std::size_t number) {
    const std::string name = "qor-pool-" + std::to_string(number);
    ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str());  // the system refuses longer ones
}

}  // namespace

void RkPoolWorker::Run() {
    struct Leaving {
        RkPoolWorker& worker;
        ~Leaving() { worker.m_pool.Leave(worker); }
    } const leaving{*this};  // also when the thread is unwound by force
    NameThread(m_number);
    while (RkRunnable* work = m_pool.NextFor(*this))
        Execute(work);
}

void RkPoolWorker::Execute(RkRunnable* work) {
    struct Finishing {
        RkPoolWorker& worker;
        RkRunnable* work;
        ~Finishing() {
            worker.Finish();
            worker.m_pool.Dispose(work);
        }
    } const finishing{*this, work};
    if (Begin(work))
        Swallowing("RkRunnable::Run", [work] { work->Run(); });
}

/// @return false when the thread shall end; after true, End finds the work and stops it
bool RkPoolWorker::Begin(RkRunnable* work) {
    const std::lock_guard guard(m_lock);
    if (!m_mustEnd)
        m_running = work;
    return !m_mustEnd;
}

void RkPoolWorker::Finish() {
    const std::lock_guard guard(m_lock);
    m_running = nullptr;
}

void RkPoolWorker::End() {
    const std::lock_guard guard(m_lock);
    m_mustEnd = true;
    m_news.Post();
    StopRunning();
}

void RkPoolWorker::Stop() {
    const std::lock_guard guard(m_lock);
    StopRunning();
}

void RkPoolWorker::StopRunning() {
    if (m_running)
        Swallowing("RkRunnable::Stop", [this] { m_running->Stop(); });
}
