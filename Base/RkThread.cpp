#include "Base/RkThread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "Base/RkException.h"
#include "Base/RkSwallow.h"

struct RkThread::State {
    enum class Phase { NEW, RUNNING, OVER };

    explicit State(bool destroySelfWhenFinished) : destroySelf(destroySelfWhenFinished) {}

    void AwaitEnd(bool unlessItWaits);
    void Detach();

    static thread_local State* current;  ///< of the RkThread that the caller is; null in any other thread

    std::mutex lock;                       ///< guards `system`, `waits` and every change of `phase`
    std::condition_variable changed;       ///< `phase` or `waits` did
    std::thread system;                    ///< joined by the first waiter
    int waits = 0;                         ///< waits for other threads that this thread is inside
    std::atomic<Phase> phase{Phase::NEW};  ///< RUNNING until the thread has nothing left to do
    std::atomic<RkOS::Thread_t> id{0};     ///< 0 unless running, since ids are used again
    std::atomic<bool> destroySelf;
    std::atomic<bool> isShutDown{false};
};

thread_local RkThread::State* RkThread::State::current = nullptr;

/// Marks the calling thread as waiting for another one, so that a pool that stops does not wait for it in turn.
class RkThread::WaitMark {
public:
    WaitMark() : m_self(State::current) { Add(1); }
    ~WaitMark() { Add(-1); }
    WaitMark(const WaitMark&) = delete;
    WaitMark& operator=(const WaitMark&) = delete;

private:
    void Add(int waits) {
        if (!m_self)
            return;
        const std::lock_guard guard(m_self->lock);
        m_self->waits += waits;
        m_self->changed.notify_all();
    }

    State* m_self;
};

/// What a thread does last, however its Run ended.
class RkThread::Ending {
public:
    Ending(RkThread* self, std::shared_ptr<State> state) : m_self(self), m_state(std::move(state)) {}
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    ~Ending() {
        m_self->m_group.Leave(m_self);
        if (m_state->destroySelf)
            delete m_self;
        State::current = nullptr;
        // From here on the owner may delete the thread object.
        const std::lock_guard guard(m_state->lock);
        m_state->id = 0;
        m_state->phase = State::Phase::OVER;
        m_state->changed.notify_all();
    }

private:
    RkThread* m_self;
    std::shared_ptr<State> m_state;
};

void RkThread::State::AwaitEnd(bool unlessItWaits) {
    const WaitMark mark;
    std::unique_lock guard(lock);
    changed.wait(guard, [&] { return phase != Phase::RUNNING || (unlessItWaits && waits > 0); });
    if (phase == Phase::OVER && system.joinable())
        system.join();
}

void RkThread::State::Detach() {
    const std::lock_guard guard(lock);
    if (system.joinable())
        system.detach();
}

RkThread::RkThread(RkThreadGroup& group, bool destroySelfWhenFinished)
    : m_group(group), m_work(nullptr), m_state(std::make_shared<State>(destroySelfWhenFinished)) {}

RkThread::RkThread(RkRunnable& work)
    : m_group(RkThreadGroup::Default()), m_work(&work), m_state(std::make_shared<State>(false)) {}

RkThread::~RkThread() {
    if (IsCurrent())
        m_state->Detach();
    else
        m_state->AwaitEnd(false);
}

void RkThread::Run() {
    if (m_work)
        m_work->Run();
}

void RkThread::Stop() {
    if (m_work)
        m_work->Stop();
}

void RkThread::Start() {
    const auto state = m_state;  // a thread that destroys itself may be gone before this returns
    const std::lock_guard guard(state->lock);
    if (state->phase != State::Phase::NEW)
        return;
    m_group.Enter(this);
    try {
        state->system = std::thread(&RkThread::Entry, this, state);
    } catch (const std::exception& e) {
        m_group.Leave(this);
        throw RkException(std::string("Could not start a thread: ") + e.what());
    }
    state->id = state->system.native_handle();
    state->phase = State::Phase::RUNNING;
}

void RkThread::Entry(RkThread* self, std::shared_ptr<State> state) {
    state->lock.lock();  // until Start has stored what it knows
    state->lock.unlock();
    State::current = state.get();
    const Ending ending(self, std::move(state));
    Swallowing("RkThread::Run", [&] { self->Run(); });
}

void RkThread::SetDestroySelfWhenFinished(bool destroy) { m_state->destroySelf = destroy; }

bool RkThread::GetDestroySelfWhenFinished() { return m_state->destroySelf; }

bool RkThread::GetRunning() { return m_state->phase == State::Phase::RUNNING; }

void RkThread::Shutdown() {
    if (m_state->isShutDown.exchange(true))
        return;
    Stop();
    WaitForThread(this);
}

RkOS::Thread_t RkThread::GetThreadId() const { return m_state->id; }

bool RkThread::IsCurrent() const { return State::current == m_state.get(); }

void RkThread::WaitForThread(RkThread* thread) {
    if (!thread || thread->IsCurrent())
        return;
    const auto state = thread->m_state;  // outlives a thread that destroys itself
    state->AwaitEnd(false);
}

void RkThread::WaitUnlessItWaits(RkThread& thread) {
    if (!thread.IsCurrent())
        thread.m_state->AwaitEnd(true);
}

void RkThread::Sleep(unsigned milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }
