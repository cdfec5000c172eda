#include "Base/RkWString.h"

#include <algorithm>
#include <bit>
#include <ostream>
#include <string_view>

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

bool IsScalar(char32_t value) { return value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF); }

char Trailing(char32_t value, int shift) { return static_cast<char>(0x80 | (value >> shift & 0x3F)); }

void AppendUtf8(std::string& text, char32_t value) {
    if (value < 0x80) {
        text += static_cast<char>(value);
    } else if (value < 0x800) {
        text += {static_cast<char>(0xC0 | value >> 6), Trailing(value, 0)};
    } else if (value < 0x10000) {
        text += {static_cast<char>(0xE0 | value >> 12), Trailing(value, 6), Trailing(value, 0)};
    } else {
        text += {static_cast<char>(0xF0 | value >> 18), Trailing(value, 12), Trailing(value, 6), Trailing(value, 0)};
    }
}

struct Decoded {
    char32_t value;
    std::size_t length;  ///< bytes used
};

constexpr Decoded UNDECODABLE = {REPLACEMENT, 1};

/// Decodes the character at the front of a text that is not empty. A byte that begins none is used up alone.
Decoded DecodeFront(std::string_view text) {
    static constexpr char32_t SMALLEST[] = {0, 0, 0x80, 0x800, 0x10000};  // what needs a sequence of so many bytes
    const auto lead = static_cast<unsigned char>(text[0]);
    const auto ones = static_cast<std::size_t>(std::countl_one(lead));
    const std::size_t length = std::max<std::size_t>(ones, 1);
    if (ones == 1 || ones > 4 || length > text.size())
        return UNDECODABLE;
    char32_t value = lead & 0x7Fu >> ones;
    for (const char c : text.substr(1, length - 1)) {
        if ((c & 0xC0) != 0x80)
            return UNDECODABLE;
        value = value << 6 | (static_cast<unsigned char>(c) & 0x3Fu);
    }
    return value >= SMALLEST[length] && IsScalar(value) ? Decoded{value, length} : UNDECODABLE;
}

}  // namespace

RkWString::RkWString(const wchar_t* text) : m_text(text == nullptr ? L"" : text) {}
RkWString::RkWString(const std::wstring& text) : m_text(text) {}

RkWString& RkWString::operator+=(const RkWString& other) {
    m_text += other.m_text;
    return *this;
}

std::string RkWString::makeString() const {
    std::string text;
    text.reserve(m_text.size());
    for (const wchar_t character : m_text) {
        const auto value = static_cast<char32_t>(character);
        AppendUtf8(text, IsScalar(value) ? value : REPLACEMENT);
    }
    return text;
}

RkWString RkWString::FromUtf8(const std::string& text) {
    std::wstring wide;
    wide.reserve(text.size());
    std::string_view rest = text;
    while (!rest.empty()) {
        const auto [value, length] = DecodeFront(rest);
        wide += static_cast<wchar_t>(value);
        rest.remove_prefix(length);
    }
    return wide;
}

std::ostream& operator<<(std::ostream& stream, const RkWString& text) { return stream << text.makeString(); }
std::wostream& operator<<(std::wostream& stream, const RkWString& text) { return stream << text.m_text; }
