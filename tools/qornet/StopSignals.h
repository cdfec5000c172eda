#pragma once

#include <csignal>
#include <initializer_list>

/// Holds signals back in the whole process, so that the main thread can wait for them in peace.
///
/// To be made before the first thread is started: threads inherit that the signals are blocked. SIGPIPE is ignored from
/// then on, since a server must outlive a reader of its output.
class StopSignals {
public:
    /// SIGINT and SIGTERM, and those named besides.
    explicit StopSignals(std::initializer_list<int> others = {});

    /// Waits for the next of the signals. After SIGINT or SIGTERM signals have their usual effect again, so that a second
    /// one ends a stop that takes too long. @return its number
    int Wait();

private:
    sigset_t m_signals;
};
