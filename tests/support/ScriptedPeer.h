/// The other end of a TCP connection, following a script on a thread of its own.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "Network/Network/RkInetAddress.h"
#include "tests/support/TestClient.h"

/// Listens on 127.0.0.1, on a port that the system chose, and runs the script for each connection, one after another, until
/// it is destroyed; whatever the script waits for on the connection ends then. A connection is closed after its script.
class ScriptedPeer {
public:
    using Connection = PlainConnection;
    using Script = std::function<void(Connection&)>;

    explicit ScriptedPeer(Script script);
    ~ScriptedPeer();

    RkInetAddress Address() const { return m_address; }
    RkUInt16 Port() const { return m_address.GetPort(); }

private:
    void Run();
    void SetCurrent(int fd);

    const Script m_script;
    const int m_listener;
    const RkInetAddress m_address;
    std::mutex m_lock;   ///< guards the next two
    int m_current = -1;  ///< the connection whose script runs
    bool m_stopping = false;
    std::thread m_thread;
};

/// A listener on 127.0.0.1 that lets nobody in: a connect to it neither succeeds nor fails.
class StuckListener {
public:
    StuckListener();
    ~StuckListener();
    StuckListener(const StuckListener&) = delete;
    StuckListener& operator=(const StuckListener&) = delete;

    RkInetAddress Address() const { return m_address; }

private:
    const int m_listener;
    const RkInetAddress m_address;
    const TestClient m_filler;  ///< takes the only place in the queue
};

/// An address of 127.0.0.1 at which nobody listened a moment ago.
RkInetAddress UnusedAddress();
