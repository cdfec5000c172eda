#include "Network/HTTP/OldBase64Decoder.h"

#include <string_view>

namespace {

constexpr std::string_view ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t GROUPS_PER_LINE = 19;

/// The value of the next character that is no line break; 0 for the fill character, for a foreign one and at the end.
unsigned NextSextet(const std::string& data, std::size_t& at, std::size_t end) {
    while (at < end && (data[at] == '\r' || data[at] == '\n'))
        ++at;
    const std::size_t value = at < end ? ALPHABET.find(data[at++]) : std::string_view::npos;
    return value == std::string_view::npos ? 0 : static_cast<unsigned>(value);
}

/// Adds the lowest eight bits if they are a positive signed number. @return whether they were
bool AppendPositive(unsigned bits, std::string& output) {
    const auto byte = static_cast<signed char>(bits);
    if (byte > 0)
        output += static_cast<char>(byte);
    return byte > 0;
}

}  // namespace

OldBase64Decoder::~OldBase64Decoder() = default;

std::string& OldBase64Decoder::encode(const std::string& data, std::string& output, bool addNewlines) {
    output.reserve(output.size() + data.size() * 4 / 3);
    std::size_t groups = 0;
    for (auto it = data.begin(); it != data.end();) {
        encodeChunk(it, data, output);
        if (addNewlines && ++groups % GROUPS_PER_LINE == 0)
            output += "\r\n";
    }
    return output;
}

// A byte that is not positive ends its group: callers' stored data counts on it (test DecodesFaithfullyOnlySevenBitText).
std::string& OldBase64Decoder::decode(const std::string& data, std::string& output) {
    output.reserve(output.size() + data.size() * 3 / 4);
    for (std::size_t at = 0, end = data.size(); at < end;) {
        unsigned sextet[4];
        for (unsigned& value : sextet)
            value = NextSextet(data, at, end);
        output += static_cast<char>(sextet[0] << 2 | sextet[1] >> 4);
        if (AppendPositive(sextet[1] << 4 | sextet[2] >> 2, output))
            AppendPositive(sextet[2] << 6 | sextet[3], output);
    }
    return output;
}

char OldBase64Decoder::AsciiToBase64(char c) const { return ALPHABET[static_cast<unsigned char>(c) & 63]; }

void OldBase64Decoder::encodeChunk(std::string::const_iterator& it, const std::string& data, std::string& value) const {
    unsigned bits = 0;
    std::size_t bytes = 0;
    for (; bytes < 3 && it != data.end(); ++bytes)
        bits = bits << 8 | static_cast<unsigned char>(*it++);
    bits <<= 8 * (3 - bytes);
    for (std::size_t i = 0; i < 4; ++i)
        value += i > bytes ? '=' : AsciiToBase64(static_cast<char>(bits >> (18 - 6 * i) & 63));
}
