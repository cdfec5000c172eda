#pragma once

#include <functional>
#include <utility>

#include "Base/RkRunnable.h"

/// A runnable of closures: what to run, and what to do when told to stop.
class LambdaRunnable : public RkRunnable {
public:
    using Call = std::function<void()>;

    explicit LambdaRunnable(
        Call run, Call stop = [] {})
        : m_run(std::move(run)), m_stop(std::move(stop)) {}
    void Run() override { m_run(); }
    void Stop() override { m_stop(); }

private:
    const Call m_run, m_stop;
};
