#include "Base/RkBase64Decoder.h"

#include <openssl/evp.h>

#include <algorithm>
#include <string_view>

namespace {

// OpenSSL counts in int: longer texts go through it in pieces of whole groups.
constexpr size_t MOST_BYTES = 3 << 28;
constexpr size_t MOST_CHARACTERS = 4 << 28;

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsInAlphabet(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Decodes groups of four characters; "=" counts as six zero bits.
/// @param to  room for three bytes a group
/// @return whether all characters were decoded (OpenSSL trims white space at the ends of what it is given)
bool DecodeGroups(std::string_view groups, char* to) {
    while (!groups.empty()) {
        const std::string_view piece = groups.substr(0, MOST_CHARACTERS);
        const int expected = static_cast<int>(piece.size() / 4 * 3);
        const auto* from = reinterpret_cast<const unsigned char*>(piece.data());
        if (::EVP_DecodeBlock(reinterpret_cast<unsigned char*>(to), from, static_cast<int>(piece.size())) != expected)
            return false;
        to += expected;
        groups.remove_prefix(piece.size());
    }
    return true;
}

/// Decodes a text of whole groups with nothing between them.
/// @return whether it is one; else `data` is of no use
bool DecodeRegular(std::string_view text, std::string& data) {
    if (text.size() % 4 != 0)
        return false;
    const size_t padding = text.size() - std::min(text.find('='), text.size());
    if (padding > 2 || (padding == 2 && text.back() != '='))
        return false;
    data.resize(text.size() / 4 * 3);
    if (!DecodeGroups(text, data.data()))
        return false;
    data.resize(data.size() - padding);
    return true;
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
    std::string data;
    if (DecodeRegular(text, data))
        return data;
    std::string characters = Significant(text);
    const size_t bytes = characters.size() * 3 / 4;  // a single character at the end carries no whole byte
    characters.append((4 - characters.size() % 4) % 4, 'A');
    data.resize(characters.size() / 4 * 3);
    DecodeGroups(characters, data.data());
    data.resize(bytes);
    return data;
}
