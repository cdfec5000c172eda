#include "Network/HTTP/RkCgi.h"

#include <algorithm>
#include <ostream>

#include "Base/RkBStream.h"
#include "Base/RkBase64Decoder.h"
#include "Base/RkTokenizer.h"
#include "Network/Url/RkPercentCoding.h"
#include "Network/Url/RkUrl.h"

namespace {

constexpr std::string_view PACKED_NAME = "rk-encdata";
constexpr int MAX_CONTENT_LENGTH = 0x20000;

}  // namespace

RkCgi::~RkCgi() = default;

bool RkCgi::parseData(const std::string& data) {
    parse(data, false);
    return true;
}

bool RkCgi::parseData(RkBStream& stream, int contentLength) {
    if (contentLength == 0 || contentLength > MAX_CONTENT_LENGTH)
        return false;
    std::string body;
    if (!stream.ReadString(body, static_cast<std::size_t>(contentLength)))
        return false;
    parse(body, false);
    return true;
}

void RkCgi::parse(const std::string& data, bool encryptedData) {
    if (data.empty())
        return;
    std::vector<std::string_view> pairs;
    RkTokenizer::Tokenize(data, '&', pairs);
    if (m_params.empty())
        m_params.reserve(pairs.size());
    for (const std::string_view pair : pairs) {
        const std::string_view name = pair.substr(0, pair.find('='));
        const std::string_view rest = pair.substr(std::min(name.size() + 1, pair.size()));
        parsePair(name, rest.substr(0, rest.find('=')), encryptedData);
    }
}

// What is packed is parsed by recursion. Its depth stays below a hundred and fifty whatever the input: base64 takes a quarter
// off at each level, and percent-decoding never adds.
void RkCgi::parsePair(std::string_view name, std::string_view value, bool encryptedData) {
    valueType_t& added = m_params.emplace_back();
    RkPercentCoding::Decode(name, added.name);
    RkPercentCoding::Decode(value, added.value);
    added.encrypted = encryptedData;
    if (added.name != PACKED_NAME)
        return;
    const std::string packed = std::move(added.value);
    m_params.pop_back();
    parse(RkBase64Decoder::decode(packed), true);
}

std::string RkCgi::getFirstValue(const std::string& name) const {
    const auto found = std::ranges::find(m_params, name, &valueType_t::name);
    return found == m_params.end() ? std::string() : found->value;
}

void RkCgi::getAllValues(const std::string& name, std::vector<std::string>& values) const {
    for (const valueType_t& param : m_params)
        if (param.name == name)
            values.push_back(param.value);
}

bool RkCgi::isValueEncrypted(const std::string& name) const {
    const auto found = std::ranges::find(m_params, name, &valueType_t::name);
    return found != m_params.end() && found->encrypted;
}

void RkCgi::addParameter(const std::string& name, const std::string& value, bool valueIsEncrypted) {
    m_params.push_back({name, value, valueIsEncrypted});
}

// The pair that moves into an erased place is not looked at: callers rely on it (test RemovesOnlyTheFirstOfAdjacentNames).
void RkCgi::removeName(const std::string& name) {
    const std::string wanted = name;  // may be one of the texts that move
    for (std::size_t at = 0; at < m_params.size(); ++at)
        if (m_params[at].name == wanted)
            m_params.erase(m_params.begin() + static_cast<std::ptrdiff_t>(at));
}

std::string RkCgi::createCgiString(bool escapeData, bool encryptEntireString, bool prependCgiName,
                                   bool reEscapePostEncryption) const {
    std::string query;
    const auto add = [&](const std::string& text) { escapeData ? escapeString(text, query) : query += text; };
    for (const valueType_t& param : m_params) {
        if (&param != &m_params.front())
            query += '&';
        add(param.name);
        query += '=';
        add(param.value);
    }
    if (!encryptEntireString)
        return query;
    const std::string packed = RkBase64Decoder::encode(query);
    query = prependCgiName ? std::string(PACKED_NAME) + "=" : "";
    return reEscapePostEncryption ? escapeString(packed, query) : query + packed;
}

std::string RkCgi::getCgiString() const {
    std::string listing;
    for (const valueType_t& param : m_params)
        listing +=
            "name=" + param.name + " value=" + param.value + " encrypted?=" + (param.encrypted ? "true\n" : "false\n");
    return listing;
}

void RkCgi::print(std::ostream& stream) const {
    for (const valueType_t& param : m_params)
        stream << "name=" << param.name << " value=" << param.value << " encrypted?=" << param.encrypted << std::endl;
}

std::ostream& operator<<(std::ostream& stream, const RkCgi& cgi) {
    cgi.print(stream);
    return stream;
}

std::string& RkCgi::escapeString(const std::string& in, std::string& out) { return RkUrl::escapeString(in, out); }

std::string& RkCgi::unescapeString(const std::string& in, std::string& out) { return RkUrl::unescapeString(in, out); }
