#include "Network/Network/RkHTTPConnection.h"

#include <curl/curl.h>

#include <algorithm>
#include <limits>

#include "Network/Network/RkBasicConnectionException.h"

namespace {

/// libcurl's write call-back; returning less than it was given makes the request fail.
size_t CollectBody(const char* data, size_t size, size_t count, void* body) noexcept {
    try {
        static_cast<std::string*>(body)->append(data, size * count);
    } catch (...) {  // out of memory: no exception may pass through libcurl
        return 0;
    }
    return size * count;
}

long CurlMilliSeconds(const RkTimePeriod& period) {
    const std::int64_t total = period.Seconds() * 1000 + period.MilliSeconds();
    return static_cast<long>(std::min<std::int64_t>(total, std::numeric_limits<int>::max()));
}

}  // namespace

RkHTTPConnection::RkHTTPConnection(curl_slist* headerList) : m_headerList(headerList) {}

RkHTTPConnection::~RkHTTPConnection() { RkHTTPConnection::Close(); }

void RkHTTPConnection::Close() {
    curl_easy_cleanup(m_curlHandle);
    m_curlHandle = nullptr;
}

template <class Value>
void RkHTTPConnection::SetOption(int option, Value value) {
    const CURLcode code = curl_easy_setopt(m_curlHandle, static_cast<CURLoption>(option), value);
    if (code != CURLE_OK)
        throw RkBasicConnectionException("CURL error, code: " + std::to_string(code));
}

void RkHTTPConnection::Connect(unsigned short port, const std::string& url, const RkTimePeriod& timeout) {
    if (!m_curlHandle)
        SetUp(port, timeout);
    SetUrl(url);
}

void RkHTTPConnection::SetUp(unsigned short port, const RkTimePeriod& timeout) {
    m_curlHandle = curl_easy_init();
    if (!m_curlHandle)
        throw RkBasicConnectionException("Could not initialize curl handle");
    try {
        Configure(port, timeout);
    } catch (...) {  // a half configured handle would pass for a configured one at the next Connect
        Close();
        throw;
    }
}

void RkHTTPConnection::Configure(unsigned short port, const RkTimePeriod& timeout) {
    SetOption(CURLOPT_PORT, static_cast<long>(port));
    SetOption(CURLOPT_WRITEFUNCTION, &CollectBody);
    SetOption(CURLOPT_WRITEDATA, &m_response.body);
    SetTimeout(timeout);
    SetOption(CURLOPT_NOSIGNAL, 1L);
    if (m_headerList)
        SetOption(CURLOPT_HTTPHEADER, m_headerList);
}

void RkHTTPConnection::SetUrl(const std::string& url) { SetOption(CURLOPT_URL, url.c_str()); }

void RkHTTPConnection::SetTimeout(const RkTimePeriod& timeout) {
    m_timeout = timeout;
    SetOption(CURLOPT_TIMEOUT_MS, CurlMilliSeconds(timeout));
}

void RkHTTPConnection::Connect(const std::string& userName, const std::string& password, unsigned short port,
                               const std::string& url, const RkTimePeriod& timeout) {
    if (!m_curlHandle) {
        Connect(port, url, timeout);
        SetCredentials(userName, password);
    }
    SetUrl(url);
    if (timeout != m_timeout)
        SetTimeout(timeout);
}

void RkHTTPConnection::SetCredentials(const std::string& userName, const std::string& password) {
    try {
        SetOption(CURLOPT_USERNAME, userName.c_str());
        SetOption(CURLOPT_PASSWORD, password.c_str());
    } catch (...) {  // later Connects set no credentials: they would go on without any
        Close();
        throw;
    }
}

void RkHTTPConnection::SetPostRequest(const std::string& data) {
    SetOption(CURLOPT_POST, 1L);
    SetOption(CURLOPT_POSTFIELDS, data.data());
    SetOption(CURLOPT_POSTFIELDSIZE, static_cast<long>(data.size()));
}

void RkHTTPConnection::Send() {
    m_response.body.clear();
    const CURLcode outcome = curl_easy_perform(m_curlHandle);
    m_response.code = 0;
    if (outcome == CURLE_OK) {
        m_response.result = HTTP_NO_ERROR;
        curl_easy_getinfo(m_curlHandle, CURLINFO_RESPONSE_CODE, &m_response.code);
    } else if (outcome == CURLE_OPERATION_TIMEDOUT) {
        m_response.result = TIMEOUT;
        m_response.body = "Curl request timed out";
    } else {
        m_response.result = UNKNOWN_ERROR;
        m_response.body = curl_easy_strerror(outcome);
    }
}

long RkHTTPConnection::GetConnectionsOpened() const {
    long opened = 0;
    if (m_curlHandle)
        curl_easy_getinfo(m_curlHandle, CURLINFO_NUM_CONNECTS, &opened);
    return opened;
}

void RkHTTPConnection::Receive() {}
