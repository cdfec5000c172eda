#pragma once

#include <memory>
#include <string>

#include "Base/RkTimePeriod.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkTcpTimeoutSocket.h"
#include "Network/QorNetworkExport.h"

namespace boost {
class thread;
}

/// A server for tests of HTTP clients: serves one connection a run with a canned answer, on the caller's thread or on one
/// of its own. Owns its listening socket and thread.
class QOR_NETWORK_EXPORT MockServer {
public:
    /// Binds at once; listening begins with a run.
    /// @param response  sent as it is: status line, fields and body
    /// @param timeout   how long to wait for the connection; zero is no limit
    /// @param address   local address, a port in the text included ("127.0.0.1", "127.0.0.1:8080"); without one the
    ///                  system picks it
    /// Throws RkNetworkException.
    MockServer(const std::string& response, RkTimePeriod timeout, const std::string& address);
    MockServer(const MockServer&) = delete;
    MockServer& operator=(const MockServer&) = delete;

    /// Call Wait first when Run was used. If that was forgotten, ends the run, a client that says nothing included.
    ~MockServer();

    /// The address that clients connect to.
    RkInetAddress GetLocalAddress();

    /// Serves one connection: one read of at most 2,047 bytes, which are not looked at and for which there is no time
    /// limit, then the response, then the close. Returns without doing anything when nobody came in time.
    /// Throws RkNetworkException.
    void RunSynchronously();

    /// The same on a thread of its own, which an exception ends quietly. Clients may connect from now on.
    /// Throws boost::thread_resource_error when the system has no thread to give.
    void Run();

    /// Waits for the thread of Run, if there is one. From that thread it throws boost::thread_resource_error.
    void Wait();

    /// Not to be had: the response is the one of the construction.
    void SetResponse(const std::string& response) = delete;

private:
    void EndThread();
    void Serve(RkTcpSocket& client);
    void ServeOne(RkTcpSocket& client);
    void ServeQuietly(RkTcpSocket& client) noexcept;

    const std::string m_response;
    const RkTimePeriod m_timeout;
    std::unique_ptr<RkTcpTimeoutSocket> m_sock;
    std::unique_ptr<boost::thread> m_listenThread;
    std::shared_ptr<RkTcpSocket> m_client;  ///< of that thread, which alone closes it; others wake it
};
