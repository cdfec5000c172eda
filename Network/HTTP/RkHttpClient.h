#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Base/RkBStream.h"
#include "Base/RkTimePeriod.h"
#include "Base/RkTypes.h"
#include "Network/Network/RkTcpTimeoutSocket.h"
#include "Network/QorNetworkExport.h"
#include "Network/Url/RkUrl.h"

/// Makes HTTP/1.0 requests, one at a time: GET or POST of form data, directly or through a proxy, with Basic credentials.
/// Reads the response head and leaves the body in the stream.
///
/// Used by one thread at a time, save for cancel. Every failure is an RkNetworkException. Waits in steps of one second;
/// of the time-outs only the whole seconds count. Keep one client for many requests: each has a wake-up pipe of its own.
///
/// Callers should know: credentials for the proxy go out whenever a proxy user is set, with a proxy or without, so that
/// the origin may see them; and no Host field is sent, so that name-based servers answer with their default site.
class QOR_NETWORK_EXPORT RkHttpClient {
public:
    /// A client without proxy and without any time limit: a connect is not waited for, a response is waited for without
    /// end. The argument is ignored (kept: callers pass one period and rely on no limit being applied).
    explicit RkHttpClient(const RkTimePeriod& ignored);

    /// @param proxy           name or numeric address; empty for none
    /// @param proxyPort       host byte order
    /// @param connectTimeout  number of one-second steps to wait for the connection; when they have run out, the failure
    ///                        shows at the first write or read
    /// @param readTimeout     one-second steps to wait for the response head, one more than its seconds; zero is no limit
    /// @param writeTimeout    limit of each write, the socket's own
    RkHttpClient(const std::string& proxy, unsigned short proxyPort, const RkTimePeriod& connectTimeout,
                 const RkTimePeriod& readTimeout, const RkTimePeriod& writeTimeout);
    RkHttpClient(const RkHttpClient&) = delete;
    RkHttpClient& operator=(const RkHttpClient&) = delete;

    /// Closes the connection.
    virtual ~RkHttpClient();

    /// Writes one request and flushes it. Subclasses change the request here.
    /// @param method    "GET" or "POST"
    /// @param postData  form data, sent as it is; only with "POST" it is announced
    /// @param url       its whole decoded text goes to a proxy, its path and query to a server
    virtual void writeRequest(const std::string& method, const std::string& postData, const RkUrl& url);

    /// One exchange, until the response head is read. The previous connection and response are dropped.
    /// Fields of more than 1 MiB in all are a failure.
    void get(const RkUrl& url);

    /// The same as a POST.
    /// @param data  form data, percent-encoded by the caller
    void post(const RkUrl& url, const std::string& data);

    /// The stream, positioned at the body; this client's. Throws when there is no connection.
    RkBStream& getStream();

    /// The status line of the last response; "HTTP/1.0 200 OK" for a response that had none.
    const std::string& getHttpResponse() const { return m_httpResponse; }

    /// @param name         exactly as stored: in lower case
    /// @param[out] header  the field's value; empty when there is none. Of a repeated field the last value counts.
    /// @return `header`
    std::string& getResponseHeader(const std::string& name, std::string& header) const;

    /// All fields by lower-case name; this client's, until the next request.
    const std::map<std::string, std::string>& getResponseHeaders() const { return m_responseHeaders; }

    /// What follows holds from the next request on. Credentials are for the server, in the Basic scheme; an empty name sends
    /// none.
    void setUsername(const std::string& name) { m_username = name; }
    void setPassword(const std::string& password) { m_password = password; }

    /// Name or numeric address of the proxy; asked only with setUseProxy.
    void setProxy(const std::string& proxy) { m_proxy = proxy; }

    /// @param port  host byte order; 0 is 80
    void setProxyPort(unsigned short port) { m_proxyPort = port; }

    /// Sent with every request, through the proxy or not; an empty name sends none.
    void setProxyUsername(const std::string& name) { m_proxyUsername = name; }
    void setProxyPassword(const std::string& password) { m_proxyPassword = password; }

    /// A request that finds the proxy to be its target switches this off, and it stays off.
    void setUseProxy(bool use) { m_useProxy = use; }
    bool getUseProxy() const { return m_useProxy; }

    /// The time-outs are read as in the constructor.
    void setConnectTimeout(const RkTimePeriod& timeout) { m_connectTimeout = timeout; }
    void setReadTimeout(const RkTimePeriod& timeout) { m_readTimeout = timeout; }
    void setWriteTimeout(const RkTimePeriod& timeout) { m_writeTimeout = timeout; }

    /// The mode of the socket as it is now; every request sets its own.
    void setNonBlocking(bool on) { m_socket.SetNonBlockingMode(on); }

    /// Drops the stream and closes the connection.
    void close();

    /// Closes, then opens a fresh socket.
    void reset();

    /// Ends the exchange that runs, from another thread: it throws within a second. When none runs, closes the connection.
    void cancel();

private:
    class Exchange;

    void exchange(const std::string& method, const std::string& data, const RkUrl& url);
    void connect(const RkUrl& url);
    RkInetAddress findTarget(const RkUrl& url);
    bool proxyIsTarget(const RkUrl& url) const;
    void beginConnect(const RkInetAddress& target);
    void awaitConnection();
    void makeStream();
    void writeTo(RkBStream& stream, const std::string& method, const std::string& postData, const RkUrl& url) const;
    void readResponse();
    bool peekStatusLine();
    void readHeaders();
    void throwIfCanceled(const char* message) const;
    void closeQuietly();

    std::string m_username;
    std::string m_password;
    std::string m_proxyUsername;
    std::string m_proxyPassword;
    std::string m_proxy;
    RkUInt16 m_proxyPort = 0;
    std::map<std::string, std::string> m_responseHeaders;
    std::string m_httpResponse;
    RkTcpTimeoutSocket m_socket;
    std::unique_ptr<RkBStream> m_stream;  ///< over m_socket; made and dropped under m_cancelLock
    bool m_useProxy = false;
    std::atomic<bool> m_canceled = false;
    RkTimePeriod m_connectTimeout;
    RkTimePeriod m_readTimeout;
    RkTimePeriod m_writeTimeout;
    std::mutex m_cancelLock;  ///< guards m_running and the life of m_stream against cancel
    bool m_running = false;   ///< an exchange runs: its thread alone closes the socket
};
