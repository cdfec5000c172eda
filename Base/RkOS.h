#pragma once

#include <pthread.h>

/// What the operating system names.
class RkOS {
public:
    /// A thread's id; ordered, and used as a key.
    using Thread_t = pthread_t;

    static Thread_t CurrentThread() { return ::pthread_self(); }
};
