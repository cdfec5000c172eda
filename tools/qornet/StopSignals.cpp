#include "StopSignals.h"

#include <pthread.h>

StopSignals::StopSignals(std::initializer_list<int> others) {
    ::sigemptyset(&m_signals);
    ::sigaddset(&m_signals, SIGINT);
    ::sigaddset(&m_signals, SIGTERM);
    for (const int other : others)
        ::sigaddset(&m_signals, other);
    ::pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

int StopSignals::Wait() {
    int number = 0;
    while (::sigwait(&m_signals, &number) != 0) {}
    if (number == SIGINT || number == SIGTERM)
        ::pthread_sigmask(SIG_UNBLOCK, &m_signals, nullptr);
    return number;
}
