#include "Network/HTTP/RkHttpClient.h"

#include <strings.h>

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <cerrno>

#include "Base/RkBase64Decoder.h"
#include "Base/RkIO.h"
#include "Network/Network/RkAsNetworkException.h"
#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkSelect.h"
#include "Network/Url/RkUrlText.h"

namespace {

constexpr size_t kLongestLine = 131072;
constexpr size_t kLargestHead = 1048576;  // bytes of all fields: a head that never ends must not grow without bound
constexpr int kDefaultPort = 80;
constexpr size_t kPeeked = 4;  // "http"

RkTimePeriod OneSecond() { return RkTimePeriod(0, 0, 0, 1); }

std::string BasicCredentials(const std::string& user, const std::string& password) {
    return "Basic " + RkBase64Decoder::encode(user + ":" + password);
}

}  // namespace

/// Marks the client as running for a scope. A canceled exchange closes its socket as it ends.
class RkHttpClient::Exchange {
public:
    explicit Exchange(RkHttpClient& client) : m_client(client) {
        const std::lock_guard guard(m_client.m_cancelLock);
        m_client.m_canceled = false;
        m_client.m_running = true;
    }
    ~Exchange() {
        const std::lock_guard guard(m_client.m_cancelLock);
        m_client.m_running = false;
        if (m_client.m_canceled)
            m_client.closeQuietly();
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

private:
    RkHttpClient& m_client;
};

RkHttpClient::RkHttpClient(const RkTimePeriod&) : m_socket(RkTimePeriod(), RkTimePeriod(), RkTimePeriod()) {}

RkHttpClient::RkHttpClient(const std::string& proxy, unsigned short proxyPort, const RkTimePeriod& connectTimeout,
                           const RkTimePeriod& readTimeout, const RkTimePeriod& writeTimeout)
    : m_proxy(proxy),
      m_proxyPort(proxyPort),
      m_socket(connectTimeout, readTimeout, writeTimeout),
      m_useProxy(!proxy.empty()),
      m_connectTimeout(connectTimeout),
      m_readTimeout(readTimeout),
      m_writeTimeout(writeTimeout) {}

RkHttpClient::~RkHttpClient() { close(); }

void RkHttpClient::get(const RkUrl& url) { exchange("GET", std::string(), url); }

void RkHttpClient::post(const RkUrl& url, const std::string& data) { exchange("POST", data, url); }

void RkHttpClient::exchange(const std::string& method, const std::string& data, const RkUrl& url) {
    m_httpResponse.clear();
    m_responseHeaders.clear();
    const Exchange running(*this);
    RkAsNetworkException([&] {
        connect(url);
        writeRequest(method, data, url);
        readResponse();
    });
}

void RkHttpClient::connect(const RkUrl& url) {
    const RkInetAddress target = findTarget(url);
    reset();
    beginConnect(target);
    awaitConnection();
    m_socket.SetNonBlockingMode(false);
    makeStream();
}

// The URL's own address wins even when a proxy is the target: a proxy is reached by its own address only when the URL's
// host has none, say because look-ups of URLs are switched off. Callers have built their set-ups on it (test
// ReachesTheProxyOnlyWhenTheHostHasNoAddress).
RkInetAddress RkHttpClient::findTarget(const RkUrl& url) {
    const bool proxied = m_useProxy && !m_proxy.empty();
    const std::string& host = proxied ? m_proxy : url.getHostname();
    int port = proxied ? m_proxyPort : url.getPort();
    if (m_useProxy && proxyIsTarget(url)) {
        m_useProxy = false;
        port = url.getPort();
    }
    if (port <= 0)
        port = kDefaultPort;
    RkInetAddress target;
    if (const unsigned int known = url.getIpAddress(); known != 0)
        target.SetIpAddress(known);
    else
        RkInetAddress::GetOneAddress(host, target, true);
    target.SetPort(static_cast<RkUInt16>(port));
    return target;
}

bool RkHttpClient::proxyIsTarget(const RkUrl& url) const {
    try {
        const auto ours = RkDnsCache::Itself().GetAllIPs(m_proxy, false);
        const auto theirs = RkDnsCache::Itself().GetAllIPs(url.getHostname(), false);
        return std::any_of(ours.begin(), ours.end(), [&](const RkInetAddress& address) {
            return std::find(theirs.begin(), theirs.end(), address) != theirs.end();
        });
    } catch (...) {  // no answer, no comparison: the request goes on as it was told
        return false;
    }
}

// Does not wait: all waiting is in awaitConnection's steps, which cancel can end.
void RkHttpClient::beginConnect(const RkInetAddress& target) {
    m_socket.SetConnectTimeout(RkTimePeriod());
    m_socket.SetNonBlockingMode(true);
    sockaddr_in address;
    target.GetAddr(address);
    const int result = RkIO::Connect(m_socket.GetHandle(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (result == 0 || errno == EINPROGRESS || errno == EAGAIN)
        return;
    const int error = errno;
    m_socket.Close();
    throw RkNetworkException("Connect failed: " + std::to_string(error) + '\0', error);
}

// When the steps run out nothing is thrown: the failure shows at the first write or read (kept; test
// AnUnansweredConnectShowsAtTheFirstWrite).
void RkHttpClient::awaitConnection() {
    const SOCKET handle = m_socket.GetHandle();
    RkSelect select;
    select.AddWriter(handle);
    select.AddException(handle);
    throwIfCanceled("Error connect was canceled.");  // by a cancel that came before there was a handle to wake
    for (std::int64_t steps = m_connectTimeout.Seconds(); steps > 0; --steps) {
        const int ready = select.Select(OneSecond(), true);
        throwIfCanceled("Error connect was canceled.");
        if (ready <= 0)
            continue;
        if (select.Exceptional(handle))
            throw RkNetworkException("Error connecting to server.");
        if (select.Writable(handle))
            return;
    }
}

void RkHttpClient::makeStream() {
    auto stream = std::make_unique<RkBStream>(m_socket);
    const std::lock_guard guard(m_cancelLock);
    m_stream = std::move(stream);
}

void RkHttpClient::writeRequest(const std::string& method, const std::string& postData, const RkUrl& url) {
    if (!m_stream)
        throw RkNetworkException("Socket is not connected");
    RkAsNetworkException([&] { writeTo(*m_stream, method, postData, url); });
}

void RkHttpClient::writeTo(RkBStream& stream, const std::string& method, const std::string& postData,
                           const RkUrl& url) const {
    stream << method << ' ';
    if (m_useProxy)
        stream << url.getUnescapedUrl();
    else
        stream << '/' << url.getFilename();
    stream << " HTTP/1.0\r\nUser-Agent: Kestrion server 4.X\r\n";
    if (method == "POST")
        stream << "Content-Length: " << postData.size() << "\r\nContent-Type: application/x-www-form-urlencoded\r\n";
    if (!m_username.empty())
        stream << "Authorization: " << BasicCredentials(m_username, m_password) << "\r\n";
    if (!m_proxyUsername.empty())  // with a proxy or without: kept, test SendsProxyCredentialsWithoutAProxyToo
        stream << "Proxy-Authorization: " << BasicCredentials(m_proxyUsername, m_proxyPassword) << "\r\n";
    stream << "\r\n" << postData;
    stream.Flush();
}

void RkHttpClient::readResponse() {
    if (!peekStatusLine()) {
        m_httpResponse = "HTTP/1.0 200 OK";
        return;
    }
    m_stream->ReadLine(m_httpResponse, kLongestLine);
    readHeaders();
    throwIfCanceled("Error read was canceled.");
}

// Each look starts again at the head of what has arrived, so that a beginning that comes in pieces is seen with its first
// bytes repeated, and is then no status line (kept; test ABeginningInPiecesIsNoStatusLine).
bool RkHttpClient::peekStatusLine() {
    const SOCKET handle = m_socket.GetHandle();
    RkSelect select;
    select.AddReader(handle);
    select.AddException(handle);
    const bool budgeted = m_readTimeout.Seconds() > 0;
    std::int64_t steps = m_readTimeout.Seconds() + 1;
    char seen[kPeeked];
    for (size_t count = 0; count < kPeeked;) {
        const int ready = select.Select(budgeted ? OneSecond() : RkTimePeriod(), true);
        if (budgeted && --steps == 0)
            throw RkNetworkException("Timeout on read.");
        throwIfCanceled("Error read was canceled.");
        if (ready <= 0)
            continue;
        if (select.Exceptional(handle))
            throw RkNetworkException("Error reading response from server.");
        const ssize_t got = RkIO::Recv(handle, seen + count, kPeeked - count, MSG_PEEK);
        if (got < 1)
            throw RkNetworkException("Error reading response header");
        count += static_cast<size_t>(got);
    }
    return strncasecmp(seen, "http", kPeeked) == 0;
}

void RkHttpClient::readHeaders() {
    size_t size = 0;
    for (std::string line; m_stream->ReadLine(line, kLongestLine) && !line.empty();) {
        if ((size += line.size()) > kLargestHead)
            throw RkNetworkException("Error reading response header");
        const size_t colon = line.find(':');
        if (colon == std::string::npos)
            continue;
        std::string name = line.substr(0, colon);
        RkUrlText::Lower(name);
        boost::algorithm::trim_if(name, &RkUrlText::IsSpace);
        m_responseHeaders[name] = boost::algorithm::trim_left_copy_if(line.substr(colon + 1), &RkUrlText::IsSpace);
    }
}

void RkHttpClient::throwIfCanceled(const char* message) const {
    if (m_canceled)
        throw RkNetworkException(message);
}

RkBStream& RkHttpClient::getStream() {
    if (!m_stream)
        throw RkNetworkException("There is no connection to give you a stream on");
    return *m_stream;
}

std::string& RkHttpClient::getResponseHeader(const std::string& name, std::string& header) const {
    const auto found = m_responseHeaders.find(name);
    header = found == m_responseHeaders.end() ? std::string() : found->second;
    return header;
}

void RkHttpClient::close() {
    {
        const std::lock_guard guard(m_cancelLock);
        m_stream.reset();
    }
    if (m_socket.IsOpen())
        m_socket.Close();
}

void RkHttpClient::reset() {
    close();
    m_socket.Open();
}

void RkHttpClient::cancel() {
    const std::lock_guard guard(m_cancelLock);
    m_canceled = true;
    try {
        if (m_stream)
            m_stream->Abort();
    } catch (...) {
        return;
    }
    if (m_running)
        m_socket.Wake();
    else
        closeQuietly();
}

void RkHttpClient::closeQuietly() {
    try {
        if (m_socket.IsOpen())
            m_socket.Close();
    } catch (...) {  // the connection is given up either way
    }
}
