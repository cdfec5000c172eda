#include "Network/HTTP/RkHttpRequestUtils.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "Base/RkSwallow.h"
#include "Network/Url/RkPercentCoding.h"
#include "Network/Url/RkUrlText.h"

namespace {

bool EndsFile(char c) { return c == ' ' || c == '?'; }

std::string_view WithoutSpaceInFront(std::string_view text) {
    while (!text.empty() && RkUrlText::IsSpace(text.front()))
        text.remove_prefix(1);
    return text;
}

std::string ToLower(std::string_view text) {
    std::string lower(text);
    RkUrlText::Lower(lower);
    return lower;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// @return the number that `text` begins with, held to the range of int; 0 when it begins with none
int ToInt(const std::string& text) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long>(std::strtol(text.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

bool IsKnownMethod(std::string_view method) { return method == "GET" || method == "POST" || method == "HEAD"; }

// The one defence of the file name against leaving the document root: no more and no less than callers know.
void DefuseParentSteps(std::string& path) {
    constexpr std::string_view parent = "../";
    for (size_t at = path.find(parent); at != path.npos; at = path.find(parent, at))
        path.replace(at, parent.size(), "___");
}

}  // namespace

RkHttpRequestUtils::RkHttpRequestUtils() = default;
RkHttpRequestUtils::~RkHttpRequestUtils() = default;

std::string RkHttpRequestUtils::getHeader(const std::string& name) const {
    const auto found = m_headers.find(ToLower(name));
    return found == m_headers.end() ? std::string() : found->second;
}

std::string RkHttpRequestUtils::getMethod() const { return m_requestMethod; }
std::string RkHttpRequestUtils::getRequestedFilename() const { return m_requestedFile; }
int RkHttpRequestUtils::getIntValueForName(const std::string& name) { return ToInt(getHeader(name)); }
RkCgi& RkHttpRequestUtils::getCgi() { return m_cgi; }
int RkHttpRequestUtils::getStatusCode() { return m_statusCode; }

bool RkHttpRequestUtils::ReadHeadLine(RkBStream& stream, std::string& line) {
    return stream.ReadLine(line, MAX_HEAD_LINE);
}

bool RkHttpRequestUtils::HeadSize::Add(const std::string& line) {
    m_size += line.size();
    return m_size <= MAX_HEAD_SIZE;
}

// The two head reads do not ask whether a line came: a stream that has ended gives empty ones, which end a head as well.

void RkHttpRequestUtils::ReadRequestHeader(RkBStream& stream) {
    std::deque<std::string> lines;
    HeadSize size;
    std::string line;
    const bool complete = SwallowingSilently([&] {
        for (ReadHeadLine(stream, line); !line.empty() && size.Add(line); ReadHeadLine(stream, line))
            lines.push_back(std::move(line));
    });
    if (complete)
        parseRequest(lines);
}

void RkHttpRequestUtils::ReadResponseHeader(RkBStream& stream) {
    HeadSize size;
    std::string line;
    SwallowingSilently([&] {
        ReadHeadLine(stream, line);
        m_statusCode = GetStatusCode(line);
        for (; !line.empty() && size.Add(line); ReadHeadLine(stream, line))
            parseHeader(line);
    });
}

void RkHttpRequestUtils::parseRequest(const std::deque<std::string>& request) {
    for (const std::string& line : request)
        TakeHeadLine(line, &line == &request.front());
}

void RkHttpRequestUtils::TakeHeadLine(const std::string& line, bool isFirst) {
    if (isFirst)
        TakeRequestLine(line);
    else if (!m_requestMethod.empty())
        parseHeader(line);
}

/// Leaves the method empty when it or the target was not understood.
void RkHttpRequestUtils::TakeRequestLine(const std::string& line) {
    m_requestLine = line;
    const size_t methodEnd = std::min(line.find(' '), line.size());
    m_requestMethod.assign(line, 0, methodEnd);
    if (!IsKnownMethod(m_requestMethod))
        return m_requestMethod.clear();
    const size_t begin = std::min(methodEnd + 1, line.size());
    const auto end = static_cast<size_t>(std::find_if(&line[begin], &line[line.size()], EndsFile) - line.data());
    m_requestedFile.clear();
    if (begin == end)
        return m_requestMethod.clear();
    RkPercentCoding::Decode(std::string_view(line).substr(begin, end - begin), m_requestedFile);
    DefuseParentSteps(m_requestedFile);
    if (end + 1 < line.size() && line[end] == '?')
        m_cgi.parseData(line.substr(end + 1, line.find(' ', end + 1) - end - 1));
}

void RkHttpRequestUtils::parseHeader(const std::string& header) {
    const std::string_view line = WithoutSpaceInFront(header);
    const size_t colon = std::min(line.find(':'), line.size());
    const std::string_view value = WithoutSpaceInFront(line.substr(std::min(colon + 1, line.size())));
    if (value.empty())
        return;
    std::string& kept = m_headers[ToLower(line.substr(0, colon))];
    if (!kept.empty())
        kept += ';';
    kept += value;
}

int RkHttpRequestUtils::GetStatusCode(const std::string& line) {
    const size_t word = ToLower(line).find("http");
    if (word == line.npos || line.size() < word + 8 || !std::all_of(&line[word + 5], &line[word + 5] + 3, IsDigit))
        return 0;
    // The length of the piece grows with the place of the word: kept, though only the digits at its start count.
    return ToInt(line.substr(word + 5, word + 8));
}
