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

    enum class Wait { PATIENT, OF_POOL };

    static void AwaitEnd(std::shared_ptr<State> thread, Wait wait);
    bool IsHeldUp() const;
    void Detach();

    static thread_local State* current;  ///< of the RkThread that the caller is; null in any other thread

    std::mutex lock;                       ///< guards `system`, `waitsFor`, `wait` and every change of `phase`
    std::condition_variable changed;       ///< `phase` or `waitsFor` did
    std::thread system;                    ///< joined by the first waiter
    std::shared_ptr<State> waitsFor;       ///< the thread whose end this one waits for, if any
    Wait wait = Wait::PATIENT;             ///< how it does
    std::atomic<Phase> phase{Phase::NEW};  ///< RUNNING until the thread has nothing left to do
    std::atomic<RkOS::Thread_t> id{0};     ///< 0 unless running, since ids are used again
    std::atomic<bool> destroySelf;
    std::atomic<bool> isShutDown{false};
};

thread_local RkThread::State* RkThread::State::current = nullptr;

/// Marks the calling thread as waiting for another one, so that a pool that stops does not wait for it in turn.
class RkThread::WaitMark {
public:
    WaitMark(std::shared_ptr<State> thread, State::Wait wait) : m_self(State::current) { Set(std::move(thread), wait); }
    ~WaitMark() { Set(nullptr, State::Wait::PATIENT); }
    WaitMark(const WaitMark&) = delete;
    WaitMark& operator=(const WaitMark&) = delete;

private:
    void Set(std::shared_ptr<State> thread, State::Wait wait) {
        if (!m_self)
            return;
        const std::lock_guard guard(m_self->lock);
        m_self->waitsFor.swap(thread);  // what was there is let go without the lock
        m_self->wait = wait;
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

/// Waits for the end of `thread`; on behalf of a pool that stops only as long as that is not held up itself.
void RkThread::State::AwaitEnd(std::shared_ptr<State> thread, Wait wait) {
    const WaitMark mark(thread, wait);
    std::unique_lock guard(thread->lock);
    thread->changed.wait(
        guard, [&] { return thread->phase != Phase::RUNNING || (wait == Wait::OF_POOL && thread->IsHeldUp()); });
    if (thread->phase == Phase::OVER && thread->system.joinable())
        thread->system.join();
}

/// Whether this thread waits for one that goes on, so that the caller must not wait for this one in turn. Threads of a pool
/// that stops hold each other up, but nobody outside: they all end.
bool RkThread::State::IsHeldUp() const {
    const bool waits = waitsFor && waitsFor->phase == Phase::RUNNING;
    return waits && (wait == Wait::PATIENT || current != nullptr);
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
        State::AwaitEnd(m_state, State::Wait::PATIENT);
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
    const auto state = m_state;  // a thread that destroys itself may be gone once it was told to stop
    if (state->isShutDown.exchange(true))
        return;
    Stop();
    if (State::current != state.get())
        State::AwaitEnd(state, State::Wait::PATIENT);
}

RkOS::Thread_t RkThread::GetThreadId() const { return m_state->id; }

bool RkThread::IsCurrent() const { return State::current == m_state.get(); }

void RkThread::WaitForThread(RkThread* thread) {
    if (!thread || thread->IsCurrent())
        return;
    State::AwaitEnd(thread->m_state, State::Wait::PATIENT);
}

void RkThread::WaitUnlessItWaits(RkThread& thread) {
    if (!thread.IsCurrent())
        State::AwaitEnd(thread.m_state, State::Wait::OF_POOL);
}

void RkThread::Sleep(unsigned milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }
