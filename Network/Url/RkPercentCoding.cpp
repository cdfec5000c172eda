#include "Network/Url/RkPercentCoding.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::ptrdiff_t WORD = sizeof(std::uint64_t);
constexpr std::size_t PIECE = 256;  ///< bytes decoded at once
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

/// Decodes a piece of a text into a buffer with room for a word more than the piece.
class PieceDecoder {
public:
    /// @return number of bytes in `to`
    static std::size_t Decode(std::string_view piece, char* to) {
        PieceDecoder at(piece, to);
        at.DecodeWords();
        while (at.m_from != at.m_end)
            at.DecodeOne();
        return static_cast<std::size_t>(at.m_to - to);
    }

private:
    PieceDecoder(std::string_view piece, char* to) : m_from(piece.data()), m_end(m_from + piece.size()), m_to(to) {}

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
            if (marks != 0)
                DecodeRun();
        }
    }

    void DecodeRun() {
        do
            DecodeOne();
        while (m_from != m_end && *m_from == '%');
    }

    void DecodeOne() {
        if (*m_from == '%' && m_end - m_from > 2) {
            const unsigned high = DIGIT_VALUE[static_cast<unsigned char>(m_from[1])];
            const unsigned low = DIGIT_VALUE[static_cast<unsigned char>(m_from[2])];
            if ((high | low) != NO_DIGIT) {
                *m_to++ = static_cast<char>(high << 4 | low);
                m_from += 3;
                return;
            }
        }
        *m_to++ = *m_from == '+' ? ' ' : *m_from;
        ++m_from;
    }

    const char* m_from;
    const char* m_end;
    char* m_to;
};

/// The longest beginning of `in` that fits a buffer and does not end within a triplet.
std::string_view NextPiece(std::string_view in) {
    if (in.size() <= PIECE)
        return in;
    const std::string_view piece = in.substr(0, PIECE);
    return piece.substr(0, piece.find('%', PIECE - 2));
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

// By way of the stack, so that the output gets the room it needs and no more, and none is filled in vain.
void RkPercentCoding::Decode(std::string_view in, std::string& out) {
    char buffer[PIECE + WORD];
    while (!in.empty()) {
        const std::string_view piece = NextPiece(in);
        out.append(buffer, PieceDecoder::Decode(piece, buffer));
        in.remove_prefix(piece.size());
    }
}
