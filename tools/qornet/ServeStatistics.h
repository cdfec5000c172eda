#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>

#include "Base/RkTypes.h"

/// What a server has answered so far. Counting costs a few atomic additions and no lock; all operations are safe from any
/// thread, and a reader may see a count that is a moment old.
class ServeStatistics {
public:
    using Duration = std::chrono::steady_clock::duration;

    /// Upper bounds of the latency classes, in seconds; one class without bound follows.
    static constexpr std::array LATENCY_BOUNDS{0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025,
                                               0.05,   0.1,     0.25,   0.5,   1.0,    2.5,   5.0,  10.0};
    static constexpr std::size_t MAX_STATUS = 600;

    /// @param status   HTTP status code; 0 (and what is no code) for an answer without a status line
    /// @param bytes    sent, head included
    /// @param latency  from the complete head to the last byte handed to the system
    void CountAnswer(int status, RkUInt64 bytes, Duration latency);

    void CountAborted() { Add(m_aborted, 1); }           ///< an answer that the client did not wait for
    void CountIdleTimeout() { Add(m_idleTimeouts, 1); }  ///< a client that never spoke
    void CountHeadTimeout() { Add(m_headTimeouts, 1); }  ///< a head that was not there in time

    RkUInt64 GetAnswers(std::size_t status) const { return m_answers[status]; }
    RkUInt64 GetAnswers() const;  ///< all of them
    RkUInt64 GetBytes() const { return m_bytes; }
    RkUInt64 GetAborted() const { return m_aborted; }
    RkUInt64 GetIdleTimeouts() const { return m_idleTimeouts; }
    RkUInt64 GetHeadTimeouts() const { return m_headTimeouts; }
    double GetLatencySum() const;  ///< seconds

    /// @param index  a place of LATENCY_BOUNDS, or its size for the class without bound
    RkUInt64 GetLatencyCount(std::size_t index) const { return m_latencies[index]; }

private:
    using Counter = std::atomic<RkUInt64>;
    static void Add(Counter& counter, RkUInt64 amount) { counter.fetch_add(amount, std::memory_order_relaxed); }

    std::array<Counter, MAX_STATUS> m_answers{};
    std::array<Counter, LATENCY_BOUNDS.size() + 1> m_latencies{};
    Counter m_latencySum{0};  ///< nanoseconds
    Counter m_bytes{0};
    Counter m_aborted{0};
    Counter m_idleTimeouts{0};
    Counter m_headTimeouts{0};
};
