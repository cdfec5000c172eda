#include "Network/Url/RkPercentCoding.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::ptrdiff_t WORD = sizeof(std::uint64_t);
static_assert(std::endian::native == std::endian::little, "the first byte of a word is its lowest");

constexpr bool IsKept(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// What a byte becomes. Four bytes are copied whatever the length, without a branch; the last is a NUL, which may fall on
/// the terminator of the output.
struct Encoded {
    char text[4];
    std::uint32_t length;
};

constexpr auto ENCODED = [] {
    constexpr char digits[] = "0123456789ABCDEF";
    std::array<Encoded, 256> table{};
    for (unsigned c = 0; c < table.size(); ++c) {
        if (IsKept(static_cast<unsigned char>(c)))
            table[c] = {{static_cast<char>(c)}, 1};
        else
            table[c] = {{'%', digits[c >> 4], digits[c & 15]}, 3};
    }
    return table;
}();

constexpr std::uint8_t NO_DIGIT = 0xFF;

constexpr auto DIGIT_VALUE = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(NO_DIGIT);
    for (std::uint8_t i = 0; i < 16; ++i) {
        table[static_cast<std::uint8_t>("0123456789ABCDEF"[i])] = i;
        table[static_cast<std::uint8_t>("0123456789abcdef"[i])] = i;
    }
    return table;
}();

constexpr std::uint64_t Repeat(char c) { return 0x0101010101010101u * static_cast<unsigned char>(c); }

/// @return a word whose lowest set bit lies in the first byte of `word` that is `c`; 0 if there is none
std::uint64_t MarkBytes(std::uint64_t word, char c) {
    const std::uint64_t zeroes = word ^ Repeat(c);
    return (zeroes - Repeat(1)) & ~zeroes & Repeat('\x80');
}

/// Reads and writes of one text, the writing behind the reading.
struct Cursor {
    const char* from;
    const char* end;
    char* to;
};

/// Copies up to the first "%" or "+", as long as a whole word is left. A word is copied whole, also beyond that character:
/// there is room, since decoding never makes a text longer.
/// @return whether it stands at such a character
bool CopyPlainWords(Cursor& at) {
    while (at.end - at.from >= WORD) {
        std::uint64_t word;
        std::memcpy(&word, at.from, WORD);
        std::memcpy(at.to, &word, WORD);
        const std::uint64_t marks = MarkBytes(word, '%') | MarkBytes(word, '+');
        const int plain = std::countr_zero(marks) / 8;  // all of them for 0
        at.from += plain;
        at.to += plain;
        if (marks != 0)
            return true;
    }
    return false;
}

void DecodeOne(Cursor& at) {
    if (*at.from == '%' && at.end - at.from > 2) {
        const unsigned high = DIGIT_VALUE[static_cast<unsigned char>(at.from[1])];
        const unsigned low = DIGIT_VALUE[static_cast<unsigned char>(at.from[2])];
        if ((high | low) != NO_DIGIT) {
            *at.to++ = static_cast<char>(high << 4 | low);
            at.from += 3;
            return;
        }
    }
    *at.to++ = *at.from == '+' ? ' ' : *at.from;
    ++at.from;
}

}  // namespace

void RkPercentCoding::Encode(std::string_view in, std::string& out) {
    const std::size_t before = out.size();
    out.resize(before + 3 * in.size());
    char* to = out.data() + before;
    for (const char c : in) {
        const Encoded& code = ENCODED[static_cast<unsigned char>(c)];
        std::memcpy(to, code.text, sizeof code.text);
        to += code.length;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
}

void RkPercentCoding::Decode(std::string_view in, std::string& out) {
    const std::size_t before = out.size();
    out.resize(before + in.size());
    Cursor at{in.data(), in.data() + in.size(), out.data() + before};
    while (CopyPlainWords(at))
        DecodeOne(at);
    while (at.from != at.end)
        DecodeOne(at);
    out.resize(static_cast<std::size_t>(at.to - out.data()));
}
