#include "Network/Network/RkSelect.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "Network/Network/RkMaxFdSetSize.h"
#include "Network/Network/RkTcpSocket.h"

namespace {

/// A descriptor number near `wanted`, readable at once.
class ReadyDescriptor {
public:
    explicit ReadyDescriptor(int wanted) {
        if (::pipe2(m_pipe, O_CLOEXEC) == -1 || ::write(m_pipe[1], "x", 1) != 1)
            std::abort();
        const int moved = wanted > m_pipe[0] ? ::fcntl(m_pipe[0], F_DUPFD_CLOEXEC, wanted) : -1;
        if (moved != -1) {
            ::close(m_pipe[0]);
            m_pipe[0] = moved;
        }
    }
    ~ReadyDescriptor() {
        ::close(m_pipe[0]);
        ::close(m_pipe[1]);
    }
    ReadyDescriptor(const ReadyDescriptor&) = delete;
    ReadyDescriptor& operator=(const ReadyDescriptor&) = delete;

    int Number() const { return m_pipe[0]; }

private:
    int m_pipe[2];
};

/// A wait in a kept RkSelect. The limit is that of the process: start it with another one to compare.
void Wait(benchmark::State& state) {
    const ReadyDescriptor ready(static_cast<int>(state.range(1)));
    const RkTimePeriod second(0, 0, 0, 1);
    RkSelect select;
    select.AddReader(ready.Number());
    for (auto _ : state)
        benchmark::DoNotOptimize(select.Select(second, true));
    state.counters["fd"] = ready.Number();
}

/// The same in an RkSelect of its own for each wait.
void WaitFresh(benchmark::State& state) {
    const ReadyDescriptor ready(static_cast<int>(state.range(1)));
    const RkTimePeriod second(0, 0, 0, 1);
    for (auto _ : state) {
        RkSelect select;
        select.AddReader(ready.Number());
        benchmark::DoNotOptimize(select.Select(second, true));
    }
}

const int LIMIT = RkMaxFdSetSize::MaxFD;

BENCHMARK(Wait)->Name("Wait/ours")->Args({LIMIT, 10});
BENCHMARK(WaitFresh)->Name("Wait/ours-fresh")->Args({LIMIT, 10});

}  // namespace
