#pragma once

#include <map>
#include <string>

#include "Network/QorNetworkExport.h"

/// Builds the text of an HTTP/1.0 message head: of a response, or, once a file is set, of a GET request. Only text; nothing
/// is sent. For one thread at a time.
class QOR_NETWORK_EXPORT RkHttpHeader {
public:
    /// A response head.
    /// @param type    value of the Content-Type field
    /// @param length  value of the Content-Length field; printed as it is, a minus sign included
    RkHttpHeader(int status, const std::string& type, int length);
    virtual ~RkHttpHeader();

    /// @return the head, its empty line included
    ///
    /// Kept as peers know it: the request line says "HTPP/1.0", an Accept field stands in responses too, and a status that
    /// has no reason phrase is given an empty one, in the table as well (tests of these names).
    virtual std::string GetHeader();

    /// Fills the table of reason phrases. Called by the constructor, which does not reach an override.
    virtual void InitReasonPhraseMap();

    void SetFile(const std::string& file);  ///< not empty: the head is a GET request for this path
    void SetStatus(int status);             ///< as in the constructor; the next two alike
    void SetContentLength(int length);
    void SetContentType(const std::string& type);
    void SetUserAgent(const std::string& agent);        ///< empty: no field
    void SetConnection(const std::string& connection);  ///< empty: no field

    /// @param scheme  of an authenticate field, for example "Basic"; empty: no field
    void SetAuthentication(const std::string& scheme);

    /// @param scheme  of an authorization field; empty: no field
    void SetAuthorization(const std::string& scheme);

    void SetAuthString(const std::string& text);  ///< what follows the scheme in either field
    void SetProxyAuthenticate(bool proxy);        ///< whether the three fields above are those for a proxy

private:
    std::string m_httpVersion = "HTTP/1.0";
    int m_status;
    std::map<int, std::string> m_reasonPhrase;
    std::string m_file;
    std::string m_statusLine;  ///< reserved; GetHeader does not use it
    std::string m_contentType;
    std::string m_userAgent;
    std::string m_connection;
    std::string m_authentication;
    std::string m_authorization;
    std::string m_authString;
    bool m_proxyAuthenticate = false;
    int m_contentLength;
};
