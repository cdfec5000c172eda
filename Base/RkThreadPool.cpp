#include "Base/RkThreadPool.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Base/RkDeadline.h"
#include "Base/RkException.h"
#include "Base/RkPoolWorker.h"
#include "Base/RkSwallow.h"

namespace {

using Clock = std::chrono::steady_clock;

using std::chrono::milliseconds;

constexpr int DEFAULT_WAIT_MS = 2;

/// How many idle threads are looked at for one of the caller's processor.
constexpr std::ptrdiff_t MOST_LOOKED_AT = 8;

/// How much longer work may wait while threads that came free take other work.
constexpr milliseconds MOVING_GRACE{20};

/// The pause between two steps of growth, in which a thread that waits only for a processor may come free.
constexpr milliseconds STEP_PAUSE{2};

/// How long the pool waits after the system or the factory had no thread to give.
constexpr milliseconds RETRY_PAUSE{100};

}  // namespace

/// The queue, the stack of idle workers, and the supervisor: a thread that sleeps while no work waits and adds threads for
/// work that has waited too long. Its loop is this class's Run.
///
/// Work wakes an idle worker but is not bound to it: a busy one that comes free before the woken one has got a processor
/// takes it. At most as many woken workers are on their way as there are processors, so that a burst of short work wakes few
/// threads; a single one might have to wait for a processor while another processor idles. A worker that comes wakes the
/// next one if there is more work, so that long work keeps none waiting.
class RkThreadPool::Impl : public RkRunnable, public RkPoolWorker::Owner {
public:
    Impl(int maxSize, int startSize, bool deleteRunnables, int poolWaitTime, const RkTimePeriod& idle,
         RkPooledThreadFactory* factory);
    ~Impl() override;

    void DoWork(RkRunnable* work);
    void Run() override;
    void Stop() override;
    int GetTotal() const;
    int GetIdle() const;
    int GetQueued() const;

private:
    struct Waiting {
        RkRunnable* work;
        Clock::time_point since;
    };
    using Guard = std::unique_lock<std::mutex>;

    RkRunnable* NextFor(RkPoolWorker& worker) override;
    void Leave(RkPoolWorker& worker) override;
    void Dispose(RkRunnable* work) const override;

    void CallForRest(Guard& guard);
    void WakeIdle(Guard& guard);
    RkPoolWorker& TakeIdle();
    void CallSupervisor(Guard& guard);
    RkRunnable* TakeFirst();
    bool Arrive(RkPoolWorker& worker);
    bool AwaitNews(RkPoolWorker& worker);
    bool MayEnd(RkPoolWorker& worker);
    void Uncount(RkPoolWorker& worker);
    bool WorkWaits() const;
    Clock::time_point WhenToGrow();
    void Grow(Guard& guard);
    bool AddThread(Guard& guard);
    bool StartThread(RkPoolWorker& worker, Guard& guard);
    RkPoolWorker& FreePlace();
    bool Close();

    const int m_maxSize;
    const int m_startSize;
    const bool m_deleteRunnables;
    const int m_mostWoken = std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
    const milliseconds m_waitTime;
    const RkTimePeriod m_idleTime;
    RkPooledThreadFactory m_defaultFactory;
    RkPooledThreadFactory& m_factory;

    mutable std::mutex m_lock;            ///< guards all that follows; no other lock is taken under it
    std::condition_variable m_attention;  ///< for the supervisor: work waits, or the pool stops
    std::deque<Waiting> m_queue;
    std::vector<RkPoolWorker*> m_idle;    ///< the most recently idle one last
    std::deque<RkPoolWorker> m_workers;   ///< every place ever made
    std::vector<RkPoolWorker*> m_free;    ///< places without a thread
    RkPoolWorker* m_lastEnded = nullptr;  ///< its thread has ended and is still to be joined
    bool m_moved = false;                 ///< since the supervisor looked, a thread that came free took queued work
    Clock::time_point m_movedAt{};        ///< when the supervisor last saw that
    Clock::time_point m_growAt{};         ///< no thread is made before
    int m_total = 0;                      ///< threads alive or being made
    int m_starting = 0;                   ///< of these, the ones that have not asked for work yet, and may fail to
    int m_woken = 0;                      ///< and the woken ones that have not asked since
    bool m_watching = false;              ///< the supervisor looks at the queue again without being woken
    bool m_stopped = false;

    RkThread m_supervisor;
};

// ---- handing work over

RkThreadPool::Impl::Impl(int maxSize, int startSize, bool deleteRunnables, int poolWaitTime, const RkTimePeriod& idle,
                         RkPooledThreadFactory* factory)
    : m_maxSize(std::max(maxSize, 1)),
      m_startSize(std::clamp(startSize, 0, m_maxSize)),
      m_deleteRunnables(deleteRunnables),
      m_waitTime(poolWaitTime > 0 ? poolWaitTime : DEFAULT_WAIT_MS),
      m_idleTime(idle),
      m_factory(factory ? *factory : m_defaultFactory),
      m_supervisor(*this) {
    m_supervisor.Start();
    Guard guard(m_lock);
    while (m_total < m_startSize && AddThread(guard)) {}
}

RkThreadPool::Impl::~Impl() {
    Impl::Stop();
    for (auto& worker : m_workers)
        worker.thread.reset();  // waits for those that Stop left alone
}

void RkThreadPool::Impl::DoWork(RkRunnable* work) {
    Guard guard(m_lock);
    if (m_stopped) {
        guard.unlock();
        Dispose(work);
        return;
    }
    m_queue.push_back({work, Clock::now()});
    CallForRest(guard);
}

/// Wakes who sees to the work that no woken worker is coming for. May let go of the lock.
void RkThreadPool::Impl::CallForRest(Guard& guard) {
    if (m_idle.empty())
        CallSupervisor(guard);
    else if (m_queue.size() > static_cast<std::size_t>(m_woken) && m_woken < m_mostWoken)
        WakeIdle(guard);
}

/// Lets go of the lock before it wakes the thread, which would run into it.
void RkThreadPool::Impl::WakeIdle(Guard& guard) {
    RkPoolWorker& worker = TakeIdle();
    worker.isWoken = true;
    ++m_woken;
    guard.unlock();
    worker.Wake();
}

/// The last worker on the stack that went idle on this processor: it finds its memory in the cache there, and no other
/// processor is interrupted for it. The last one of all if none is near the top.
RkPoolWorker& RkThreadPool::Impl::TakeIdle() {
    const int here = ::sched_getcpu();
    const auto end = m_idle.rbegin() + std::min(std::ssize(m_idle), MOST_LOOKED_AT);
    auto place = std::find_if(m_idle.rbegin(), end, [here](const auto* worker) { return worker->processor == here; });
    if (place == end)
        place = m_idle.rbegin();
    RkPoolWorker& worker = **place;
    m_idle.erase(std::next(place).base());
    return worker;
}

/// Wakes the supervisor where it has something to look after, and lets go of the lock.
void RkThreadPool::Impl::CallSupervisor(Guard& guard) {
    const bool isNeeded = !m_watching && WorkWaits();
    m_watching |= isNeeded;
    guard.unlock();
    if (isNeeded)
        m_attention.notify_one();
}

// What a worker was woken for may be gone when it comes: then it is idle again.
RkRunnable* RkThreadPool::Impl::NextFor(RkPoolWorker& worker) {
    do {
        Guard guard(m_lock);
        const bool wasComing = Arrive(worker);
        if (m_stopped)
            return nullptr;
        if (!m_queue.empty()) {
            m_moved |= !wasComing;
            RkRunnable* work = TakeFirst();
            CallForRest(guard);
            return work;
        }
        worker.processor = ::sched_getcpu();
        m_idle.push_back(&worker);
    } while (AwaitNews(worker));
    return nullptr;
}

/// @return whether the worker was on its way
bool RkThreadPool::Impl::Arrive(RkPoolWorker& worker) {
    const bool isNew = std::exchange(worker.isStarting, false);
    const bool isWoken = std::exchange(worker.isWoken, false);
    m_starting -= isNew;
    m_woken -= isWoken;
    return isNew || isWoken;
}

RkRunnable* RkThreadPool::Impl::TakeFirst() {
    RkRunnable* work = m_queue.front().work;
    m_queue.pop_front();
    return work;
}

/// Waits until there may be work. A thread that is kept when its idle time is over waits without limit from then on: threads
/// are added only when none is idle, so there is no need to look again before it was woken.
/// @return false when the worker is to end
bool RkThreadPool::Impl::AwaitNews(RkPoolWorker& worker) {
    if (m_idleTime <= RkTimePeriod()) {
        worker.AwaitNews();
    } else if (!worker.AwaitNews(DeadlineAfter(m_idleTime))) {
        if (MayEnd(worker))
            return false;
        worker.AwaitNews();
    }
    return true;
}

/// Takes an idle worker that the pool can spare off the stack. One that is not there any more was woken.
bool RkThreadPool::Impl::MayEnd(RkPoolWorker& worker) {
    const Guard guard(m_lock);
    const auto place = std::find(m_idle.begin(), m_idle.end(), &worker);
    if (place == m_idle.end() || m_total <= m_startSize)
        return false;
    m_idle.erase(place);
    Uncount(worker);
    return true;
}

void RkThreadPool::Impl::Uncount(RkPoolWorker& worker) {
    m_total -= std::exchange(worker.isCounted, false);
    Arrive(worker);
}

// Each thread that ends joins the one that ended before it, so that never more than one is left unjoined.
void RkThreadPool::Impl::Leave(RkPoolWorker& worker) {
    std::unique_ptr<RkThread> before;
    const Guard guard(m_lock);
    Uncount(worker);
    if (m_stopped)
        return;
    if (m_lastEnded) {
        before = std::move(m_lastEnded->thread);
        m_free.push_back(m_lastEnded);
    }
    m_lastEnded = &worker;
    if (!m_queue.empty())
        m_attention.notify_one();  // unwound by force: there is room now for work that waits
}

void RkThreadPool::Impl::Dispose(RkRunnable* work) const {
    if (m_deleteRunnables)
        delete work;
}

// ---- growing

void RkThreadPool::Impl::Run() {
    ::pthread_setname_np(::pthread_self(), "qor-pool-watch");
    Guard guard(m_lock);
    while (!m_stopped) {
        m_watching = WorkWaits();
        if (!m_watching)
            m_attention.wait(guard);
        else if (const auto due = WhenToGrow(); Clock::now() < due)
            m_attention.wait_until(guard, due);
        else
            Grow(guard);
    }
}

/// @return whether there is work that no thread is coming for, and room for one more thread
bool RkThreadPool::Impl::WorkWaits() const {
    return m_idle.empty() && m_queue.size() > static_cast<std::size_t>(m_starting + m_woken) && m_total < m_maxSize;
}

/// When the oldest work that no thread is coming for has waited for too long.
Clock::time_point RkThreadPool::Impl::WhenToGrow() {
    if (m_total == 0)
        return m_growAt;
    if (std::exchange(m_moved, false))
        m_movedAt = Clock::now();
    const auto since = m_queue[static_cast<std::size_t>(m_starting + m_woken)].since;
    const auto tooLong = std::min(std::max(since, m_movedAt), since + MOVING_GRACE) + m_waitTime;
    return std::max(tooLong, m_growAt);
}

/// Adds a thread for each runnable that waits now, but no more than there are.
void RkThreadPool::Impl::Grow(Guard& guard) {
    auto pause = STEP_PAUSE;
    for (int room = std::max(m_total, 1); room > 0 && !m_stopped && WorkWaits(); --room)
        if (!AddThread(guard)) {
            pause = RETRY_PAUSE;
            break;
        }
    m_growAt = Clock::now() + pause;
}

/// Lets go of the lock while it makes the thread.
/// @return false when there is none to be had
bool RkThreadPool::Impl::AddThread(Guard& guard) {
    RkPoolWorker& worker = FreePlace();
    worker.isCounted = worker.isStarting = true;
    ++m_total;
    ++m_starting;
    if (StartThread(worker, guard))
        return true;
    const auto unused = std::move(worker.thread);
    Uncount(worker);
    m_free.push_back(&worker);
    return false;
}

bool RkThreadPool::Impl::StartThread(RkPoolWorker& worker, Guard& guard) {
    bool isStarted = false;
    guard.unlock();
    Swallowing("the start of a pool thread", [&] {
        std::unique_ptr<RkThread> made(m_factory.CreateThread(&worker));
        if (!made)
            throw RkException("The factory made none");
        RkThread& thread = *made;
        guard.lock();
        worker.thread = std::move(made);
        guard.unlock();
        thread.Start();
        isStarted = true;
    });
    guard.lock();
    return isStarted;
}

RkPoolWorker& RkThreadPool::Impl::FreePlace() {
    if (m_free.empty())
        return m_workers.emplace_back(*this, m_workers.size() + 1);
    RkPoolWorker* worker = m_free.back();
    m_free.pop_back();
    return *worker;
}

// ---- stopping

void RkThreadPool::Impl::Stop() {
    const bool isFirst = Close();
    RkThread::WaitForThread(&m_supervisor);
    // From here on no place gets or loses a thread.
    if (isFirst)
        for (auto& worker : m_workers)
            worker.End();
    for (auto& worker : m_workers)
        if (worker.thread)
            RkThread::WaitUnlessItWaits(*worker.thread);
}

/// Takes no more work and drops what is queued.
/// @return whether this is the first call
bool RkThreadPool::Impl::Close() {
    std::deque<Waiting> dropped;
    bool isFirst = false;
    {
        const Guard guard(m_lock);
        isFirst = !std::exchange(m_stopped, true);
        dropped.swap(m_queue);
        m_idle.clear();
    }
    m_attention.notify_one();
    for (const auto& waiting : dropped)
        Dispose(waiting.work);
    return isFirst;
}

int RkThreadPool::Impl::GetTotal() const {
    const Guard guard(m_lock);
    return m_total;
}

int RkThreadPool::Impl::GetIdle() const {
    const Guard guard(m_lock);
    return static_cast<int>(m_idle.size());
}

int RkThreadPool::Impl::GetQueued() const {
    const Guard guard(m_lock);
    return static_cast<int>(m_queue.size());
}

// ---- the pool

RkThreadPool::RkThreadPool(int maxSize, int startSize, bool deleteRunnables, int poolWaitTime, const RkTimePeriod& idle,
                           RkPooledThreadFactory* factory)
    : m_impl(std::make_unique<Impl>(maxSize, startSize, deleteRunnables, poolWaitTime, idle, factory)) {}

RkThreadPool::~RkThreadPool() = default;

void RkThreadPool::DoWork(RkRunnable* work) {
    if (work)
        m_impl->DoWork(work);
}

void RkThreadPool::Stop() { m_impl->Stop(); }

int RkThreadPool::GetTotal() const { return m_impl->GetTotal(); }

int RkThreadPool::GetIdle() const { return m_impl->GetIdle(); }

int RkThreadPool::GetQueued() const { return m_impl->GetQueued(); }
