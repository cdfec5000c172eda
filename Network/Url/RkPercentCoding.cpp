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

/// What a byte becomes: itself, or "%", two digits and a NUL that is not part of it.
constexpr auto ENCODED = [] {
    constexpr char digits[] = "0123456789ABCDEF";
    std::array<std::array<char, 4>, 256> table{};
    for (unsigned c = 0; c < table.size(); ++c) {
        if (IsKept(static_cast<unsigned char>(c)))
            table[c] = {static_cast<char>(c)};
        else
            table[c] = {'%', digits[c >> 4], digits[c & 15]};
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

/// Decodes a text into a buffer of the text's length.
class Decoder {
public:
    /// @return number of bytes in `to`
    static std::size_t Decode(std::string_view text, char* to) {
        Decoder at(text, to);
        at.DecodeWords();
        at.DecodeRest();
        return static_cast<std::size_t>(at.m_to - to);
    }

private:
    Decoder(std::string_view text, char* to) : m_from(text.data()), m_end(m_from + text.size()), m_to(to) {}

    // A word is copied whole, also beyond the first "%" or "+" in it: what is too much is written over.
    void DecodeWords() {
        while (m_end - m_from >= WORD) {
            std::uint64_t word;
            std::memcpy(&word, m_from, WORD);
            std::memcpy(m_to, &word, WORD);
            const std::uint64_t marks = MarkBytes(word, '%') | MarkBytes(word, '+');
            const int plain = std::countr_zero(marks) / 8;  // all of them for 0
            m_from += plain;
            m_to += plain;
            DecodeMarks();
        }
    }

    // Less than a word. With a branch of its own for "+", as in DecodeMarks, a form of short fields took a quarter longer.
    void DecodeRest() {
        while (m_from != m_end) {
            if (*m_from == '%')
                DecodePercent();
            else
                PutFor(*m_from == '+' ? ' ' : *m_from);
        }
    }

    /// Decodes the "%" and "+" that come next, if any.
    void DecodeMarks() {
        while (m_from != m_end) {
            if (*m_from == '%')
                DecodePercent();
            else if (*m_from == '+')
                PutFor(' ');
            else
                return;
        }
    }

    void DecodePercent() {
        if (m_end - m_from > 2) {
            const unsigned high = DIGIT_VALUE[static_cast<unsigned char>(m_from[1])];
            const unsigned low = DIGIT_VALUE[static_cast<unsigned char>(m_from[2])];
            if ((high | low) != NO_DIGIT) {
                PutFor(static_cast<char>(high << 4 | low), 3);
                return;
            }
        }
        PutFor('%');
    }

    /// Puts one byte for the next `taken` of the text.
    void PutFor(char c, int taken = 1) {
        *m_to++ = c;
        m_from += taken;
    }

    const char* m_from;
    const char* m_end;
    char* m_to;
};

}  // namespace

void RkPercentCoding::Encode(std::string_view in, std::string& out) {
    const std::size_t before = out.size();
    out.resize(before + 3 * in.size());
    char* to = out.data() + before;
    for (const char c : in) {
        const auto& code = ENCODED[static_cast<unsigned char>(c)];
        if (code[0] == '%') {
            std::memcpy(to, code.data(), code.size());  // the NUL may fall on the terminator of the output
            to += 3;
        } else {
            *to++ = c;
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
}

void RkPercentCoding::Decode(std::string_view in, std::string& out) {
    const std::size_t before = out.size();
    out.resize(before + in.size());
    out.resize(before + Decoder::Decode(in, out.data() + before));
}
