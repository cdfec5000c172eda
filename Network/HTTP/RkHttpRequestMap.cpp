#include "Network/HTTP/RkHttpRequestMap.h"

#include <charconv>
#include <string_view>
#include <utility>

#include "Base/RkSemLock.h"
#include "Base/RkStringDevice.h"
#include "Network/HTTP/RkHttpRequest.h"

namespace {

/// Bytes that a handler may write before its buffer grows: as many as the allocator of the C library keeps at hand for the
/// next request.
constexpr size_t USUAL_ANSWER = 1000;

/// @return the number behind the first blank of the first line; 0 when there is none
int StatusOf(std::string_view answer) {
    const std::string_view line = answer.substr(0, answer.find("\r\n"));
    int status = 0;
    if (const size_t blank = line.find(' '); blank != line.npos)
        std::from_chars(line.data() + blank + 1, line.data() + line.size(), status);
    return status;
}

/// Puts the length of the body behind the status line.
/// @return that length; the whole length when there is no empty line, and then nothing is put in
size_t InsertContentLength(std::string& answer) {
    const size_t headEnd = answer.find("\r\n\r\n");
    if (headEnd == answer.npos)
        return answer.size();
    const size_t bodyLength = answer.size() - headEnd - 4;
    answer.insert(answer.find("\r\n") + 2, "Content-Length: " + std::to_string(bodyLength) + "\r\n");
    return bodyLength;
}

}  // namespace

RkHttpRequestMap::RkHttpRequestMap(const std::string& root) : m_defaultRequestHandler(root) {}
RkHttpRequestMap::~RkHttpRequestMap() = default;

void RkHttpRequestMap::addHandler(std::string filename, RkHttpRequestHandler* handler) {
    handlerPtr_t added(handler);
    const RkSemLock lock(m_csection);
    std::swap(m_handlerMap[filename], added);  // the replaced one goes after the lock
}

std::vector<std::string> RkHttpRequestMap::enumerateFilenames() const {
    std::vector<std::string> names;
    for (const auto& entry : m_handlerMap)
        names.push_back(entry.first);
    return names;
}

RkHttpRequestHandler* RkHttpRequestMap::getHandler(const std::string& filename) const {
    return FindHandler(filename).get();
}

bool RkHttpRequestMap::removeHandler(const std::string& filename) {
    handlerMap_t::node_type removed;  // goes after the lock
    const RkSemLock lock(m_csection);
    removed = m_handlerMap.extract(filename);
    return !removed.empty();
}

void RkHttpRequestMap::dispatchRequest(std::string filename, RkHttpRequest& request, RkBStream& stream) const {
    const handlerPtr_t handler = FindHandler(filename);
    if (!handler)
        return m_defaultRequestHandler.handleRequest(request, stream);
    std::string answer;
    answer.reserve(USUAL_ANSWER);
    RkStringDevice device(answer);
    RkBStream buffer(device);
    handler->handleRequest(request, buffer);
    buffer.Flush();
    const int status = StatusOf(answer);
    request.setAnswer(status, InsertContentLength(answer));
    stream << answer;
    stream.Flush();
}

/// @return a copy, which keeps the handler alive while it answers
RkHttpRequestMap::handlerPtr_t RkHttpRequestMap::FindHandler(const std::string& filename) const {
    const RkSemLock lock(m_csection);
    const auto found = m_handlerMap.find(filename);
    return found == m_handlerMap.end() ? handlerPtr_t() : found->second;
}
