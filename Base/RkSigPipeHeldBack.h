#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

/// Holds SIGPIPE back from the calling thread for a scope, for a call that cannot be told to raise none. Costs two system
/// calls, and up to two more in TakeBack.
class RkSigPipeHeldBack {
public:
    RkSigPipeHeldBack() {
        ::sigemptyset(&m_pipe);
        ::sigaddset(&m_pipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
        m_callersOwn = ::sigismember(&m_before, SIGPIPE) == 1 && IsPending();
    }
    ~RkSigPipeHeldBack() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    RkSigPipeHeldBack(const RkSigPipeHeldBack&) = delete;
    RkSigPipeHeldBack& operator=(const RkSigPipeHeldBack&) = delete;

    /// Takes back the signal if a call has raised it; one that was pending before it stays. Keeps errno.
    void TakeBack() const {
        const int error = errno;
        const timespec now{};
        if (!m_callersOwn)
            ::sigtimedwait(&m_pipe, nullptr, &now);
        errno = error;
    }

private:
    static bool IsPending() {
        sigset_t pending;
        return ::sigpending(&pending) == 0 && ::sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t m_pipe;
    sigset_t m_before;
    bool m_callersOwn;
};
