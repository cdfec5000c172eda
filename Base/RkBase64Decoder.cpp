#include "Base/RkBase64Decoder.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

// OpenSSL counts in int: longer texts go through it in pieces of whole groups.
constexpr size_t MOST_BYTES = 3 << 28;
constexpr size_t MOST_CHARACTERS = 4 << 28;

constexpr size_t NO_PADDING = 3;

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsInAlphabet(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Decodes groups of four characters, MOST_CHARACTERS at most; "=" counts as six zero bits.
/// @param to  room for three bytes a group
/// @return whether all characters were decoded (OpenSSL trims white space at the ends of what it is given)
inline bool DecodeGroups(std::string_view groups, char* to) {
    const int size = static_cast<int>(groups.size());
    const auto* from = reinterpret_cast<const unsigned char*>(groups.data());
    return ::EVP_DecodeBlock(reinterpret_cast<unsigned char*>(to), from, size) == size / 4 * 3;
}

/// @return the length of the padding at the end of a text that has no other "="; else a length above 2
size_t PaddingLength(std::string_view text) {
    const void* const first = std::memchr(text.data(), '=', text.size());
    if (first == nullptr)
        return 0;
    const auto length = static_cast<size_t>(text.data() + text.size() - static_cast<const char*>(first));
    return length == 2 && text.back() != '=' ? NO_PADDING : length;
}

/// @return the characters that count: without white space, and up to padding or the first foreign one
std::string Significant(std::string_view text) {
    std::string characters;
    characters.reserve(text.size() + 3);
    for (const char c : text) {
        if (IsInAlphabet(c))
            characters += c;
        else if (!IsSpace(c))
            break;
    }
    return characters;
}

[[gnu::noinline, gnu::cold]] void DecodeIrregular(std::string_view text, std::string& data) {
    std::string characters = Significant(text);
    const size_t bytes = characters.size() * 3 / 4;  // a single character at the end carries no whole byte
    characters.append((4 - characters.size() % 4) % 4, 'A');
    data.resize(characters.size() / 4 * 3);
    for (size_t i = 0; i < characters.size(); i += MOST_CHARACTERS)
        DecodeGroups(std::string_view(characters).substr(i, MOST_CHARACTERS), data.data() + i / 4 * 3);
    data.resize(bytes);
}

}  // namespace

std::string RkBase64Decoder::encode(const std::string& data) {
    std::string text((data.size() + 2) / 3 * 4, '\0');
    auto* to = reinterpret_cast<unsigned char*>(text.data());
    for (std::string_view rest = data; !rest.empty(); rest.remove_prefix(std::min(rest.size(), MOST_BYTES))) {
        const auto* from = reinterpret_cast<const unsigned char*>(rest.data());
        to += ::EVP_EncodeBlock(to, from, static_cast<int>(std::min(rest.size(), MOST_BYTES)));
    }
    return text;
}

std::string RkBase64Decoder::decode(const std::string& text) {
    std::string data(text.size() / 4 * 3, '\0');
    const bool wholeGroups = text.size() % 4 == 0 && text.size() <= MOST_CHARACTERS;
    const size_t padding = wholeGroups ? PaddingLength(text) : NO_PADDING;
    if (padding > 2 || !DecodeGroups(text, data.data()))
        DecodeIrregular(text, data);
    else if (padding > 0)
        data.resize(data.size() - padding);
    return data;
}
