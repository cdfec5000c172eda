#pragma once

#include <string>

#include "Network/Network/RkBasicConnection.h"
#include "Network/QorNetworkExport.h"

struct curl_slist;

/// A pooled connection that makes HTTP requests with a libcurl handle of its own; libcurl keeps the transport alive between
/// requests. Owns the handle, borrows the header list. Used by one thread at a time. Raises no signals.
class QOR_NETWORK_EXPORT RkHTTPConnection : public RkBasicConnection {
public:
    /// How a request ended; an HTTP error status is no error here.
    enum eHttpCodes { HTTP_NO_ERROR = 0, TIMEOUT = 1, UNKNOWN_ERROR = 2 };

    /// The outcome of a Send.
    struct HTTPResponse {
        int result = HTTP_NO_ERROR;  ///< an eHttpCodes value
        long code = 0;               ///< HTTP status; 0 when there was none
        std::string body;            ///< of the answer, or a text about the error
    };

    /// @param headerList  sent with every request; the pool's, must live as long as this connection sends; may be null
    explicit RkHTTPConnection(curl_slist* headerList);
    ~RkHTTPConnection() override;

    /// Releases the handle, and with it libcurl's connections.
    void Close() override;

    /// Sets up the handle. On a handle that was set up before, only the URL changes: port and time-out stay those of the
    /// first call.
    /// @param port     host byte order; 0 is the URL's own
    /// @param url      to be requested by Send
    /// @param timeout  of one whole request; zero is none
    /// Throws RkBasicConnectionException.
    virtual void Connect(unsigned short port, const std::string& url, const RkTimePeriod& timeout);

    /// The same with credentials, which only a new handle takes; here a changed time-out is taken up each time.
    virtual void Connect(const std::string& userName, const std::string& password, unsigned short port,
                         const std::string& url, const RkTimePeriod& timeout);

    /// Does nothing: the body is there when Send returns.
    virtual void Receive();

    /// Makes the next and all later requests POSTs of `data`, which is not copied: keep it alive and unchanged until Send
    /// has returned. Throws RkBasicConnectionException, also before the first Connect.
    void SetPostRequest(const std::string& data);

    /// Makes the request and waits for its outcome; never throws.
    void Send();

    /// @return an eHttpCodes value about the last Send
    int GetResponseResult() const { return m_response.result; }

    /// @return the HTTP status of the last Send; 0 when there was none
    int GetResponseCode() const { return static_cast<int>(m_response.code); }

    /// The body of the last answer, or, when the result is an error, a text about it. The caller may move it out; the next
    /// Send replaces it.
    std::string& GetResponseBody() { return m_response.body; }

    /// @return how many network connections the last Send opened; 0 when it used one that was kept alive
    long GetConnectionsOpened() const;

private:
    void SetUp(unsigned short port, const RkTimePeriod& timeout);
    void Configure(unsigned short port, const RkTimePeriod& timeout);
    void SetCredentials(const std::string& userName, const std::string& password);
    void SetUrl(const std::string& url);
    void SetTimeout(const RkTimePeriod& timeout);
    template <class Value>
    void SetOption(int option, Value value);

    void* m_curlHandle = nullptr;  ///< libcurl's easy handle; null until the first Connect and after Close
    curl_slist* m_headerList;
    RkTimePeriod m_timeout;  ///< the one last given to the handle
    HTTPResponse m_response;
};
