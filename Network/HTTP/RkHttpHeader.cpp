#include "Network/HTTP/RkHttpHeader.h"

#include <locale>
#include <sstream>

RkHttpHeader::RkHttpHeader(int status, const std::string& type, int length)
    : m_status(status), m_contentType(type), m_contentLength(length) {
    RkHttpHeader::InitReasonPhraseMap();
}

RkHttpHeader::~RkHttpHeader() = default;

std::string RkHttpHeader::GetHeader() {
    const char* const forProxy = m_proxyAuthenticate ? "Proxy-" : "";
    std::ostringstream head;
    head.imbue(std::locale::classic());  // numbers without the digit groups of the program's locale
    if (!m_file.empty())
        head << "GET " << m_file << " HTPP/1.0\r\n";  // so spelt by every release (test RequestLineIsMisspelt)
    else
        head << m_httpVersion << ' ' << m_status << ' ' << m_reasonPhrase[m_status] << "\r\n";
    head << "Accept: */*\r\nContent-Type: " << m_contentType << "\r\n";
    if (!m_authentication.empty())
        head << (m_proxyAuthenticate ? "Proxy" : "WWW") << "-Authenticate: " << m_authentication << ' ' << m_authString
             << "\r\n";
    if (!m_authorization.empty())
        head << forProxy << "Authorization: " << m_authorization << ' ' << m_authString << "\r\n";
    if (!m_userAgent.empty())
        head << "User-Agent: " << m_userAgent << "\r\n";
    if (!m_connection.empty())
        head << forProxy << "Connection: " << m_connection << "\r\n";
    head << "Content-Length: " << m_contentLength << "\r\n\r\n";
    return head.str();
}

void RkHttpHeader::InitReasonPhraseMap() {
    m_reasonPhrase[200] = "OK";
    m_reasonPhrase[201] = "Created";
    m_reasonPhrase[202] = "Accepted";
    m_reasonPhrase[204] = "No Content";
    m_reasonPhrase[301] = "Moved Permanently";
    m_reasonPhrase[302] = "Moved Temporarily";
    m_reasonPhrase[304] = "Not Modified";
    m_reasonPhrase[400] = "Bad Request";
    m_reasonPhrase[401] = "Unauthorized";
    m_reasonPhrase[403] = "Forbidden";
    m_reasonPhrase[404] = "Not Found";
    // The blanks inside and at the end belong to the phrase: clients match it (test StatusChoosesThePhrase).
    m_reasonPhrase[407] = "Proxy Authentication Required ( Access is denied.  ) ";
    m_reasonPhrase[500] = "Internal Server Error";
    m_reasonPhrase[501] = "Not Implemented";
    m_reasonPhrase[502] = "Bad Gateway";
    m_reasonPhrase[503] = "Service Unavailable";
}

void RkHttpHeader::SetFile(const std::string& file) { m_file = file; }
void RkHttpHeader::SetStatus(int status) { m_status = status; }
void RkHttpHeader::SetContentLength(int length) { m_contentLength = length; }
void RkHttpHeader::SetContentType(const std::string& type) { m_contentType = type; }
void RkHttpHeader::SetUserAgent(const std::string& agent) { m_userAgent = agent; }
void RkHttpHeader::SetConnection(const std::string& connection) { m_connection = connection; }
void RkHttpHeader::SetAuthentication(const std::string& scheme) { m_authentication = scheme; }
void RkHttpHeader::SetAuthorization(const std::string& scheme) { m_authorization = scheme; }
void RkHttpHeader::SetAuthString(const std::string& text) { m_authString = text; }
void RkHttpHeader::SetProxyAuthenticate(bool proxy) { m_proxyAuthenticate = proxy; }
