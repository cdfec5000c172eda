#include "Network/Network/RkAddressText.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "Network/Network/RkMessage.h"
#include "Network/Network/RkNetworkException.h"

namespace {

constexpr int GROUPS = 8;  ///< 16-bit groups of an IPv6 address

constexpr auto HEX_VALUES = [] {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (std::size_t i = 0; i < 10; ++i)
        values['0' + i] = static_cast<signed char>(i);
    for (std::size_t i = 0; i < 6; ++i)
        values['a' + i] = values['A' + i] = static_cast<signed char>(10 + i);
    return values;
}();

/// @return a number above 9 for what is no digit
unsigned Digit(char c) { return static_cast<unsigned char>(c) - unsigned{'0'}; }

int HexValue(char c) { return HEX_VALUES[static_cast<unsigned char>(c)]; }

/// Reads a number up to 255 without leading zeros, which would make it octal. @return its end, or null
const char* ParseOctet(const char* text, unsigned& octet) {
    octet = Digit(text[0]);
    if (octet > 9)
        return nullptr;
    const unsigned second = Digit(text[1]);
    if (second > 9)
        return text + 1;
    const unsigned third = Digit(text[2]);
    if (octet == 0)
        return nullptr;
    octet = octet * 10 + second;
    if (third > 9)
        return text + 2;
    octet = octet * 10 + third;
    return octet <= 255 ? text + 3 : nullptr;
}

/// Whether a number followed by a colon begins the text, which no IPv4 form allows.
bool BeginsLikeIp6(const char* text) {
    while (HexValue(*text) >= 0)
        ++text;
    return *text == ':';
}

/// Reads one to four hexadecimal digits. @return their end, or null
const char* ParseGroup(const char* text, std::uint16_t& group) {
    int value = HexValue(*text);
    if (value < 0)
        return nullptr;
    for (int i = 1, digit; (digit = HexValue(*++text)) >= 0; ++i) {
        if (i == 4)
            return nullptr;
        value = value << 4 | digit;
    }
    group = htons(static_cast<std::uint16_t>(value));
    return text;
}

/// @param gap  where zeros are left out; -1: nowhere
/// @return whether there are as many groups as there must be
bool PlaceGroups(const std::uint16_t (&groups)[GROUPS], int count, int gap, in6_addr& addr) {
    if (gap < 0 ? count != GROUPS : count == GROUPS)
        return false;
    const auto before = static_cast<std::size_t>(gap < 0 ? count : gap);
    const auto after = static_cast<std::size_t>(count) - before;
    addr = in6_addr{};
    std::copy_n(groups, before, addr.s6_addr16);
    std::copy_n(groups + before, after, addr.s6_addr16 + GROUPS - after);
    return true;
}

/// A decimal octet with its dot, ready to be copied.
struct OctetText {
    char text[4];
    unsigned char size;  ///< without the dot
};

constexpr auto OCTETS = [] {
    std::array<OctetText, 256> octets{};
    for (unsigned i = 0; i < 256; ++i) {
        OctetText& octet = octets[i];
        for (unsigned unit = i < 10 ? 1 : i < 100 ? 10 : 100; unit > 0; unit /= 10)
            octet.text[octet.size++] = static_cast<char>('0' + i / unit % 10);
        octet.text[octet.size] = '.';
    }
    return octets;
}();

char* FormatIp4(const unsigned char* bytes, char* out) {
    for (int i = 0; i < 4; ++i) {
        const OctetText& octet = OCTETS[bytes[i]];
        std::memcpy(out, octet.text, sizeof octet.text);
        out += octet.size + 1;
    }
    return out - 1;
}

char* FormatGroup(unsigned group, char* out) {
    for (int shift = group > 0xFFF ? 12 : group > 0xFF ? 8 : group > 0xF ? 4 : 0; shift >= 0; shift -= 4)
        *out++ = "0123456789abcdef"[group >> shift & 0xF];
    return out;
}

struct Run {
    int begin = GROUPS;
    int length = 1;  ///< a single zero group is not shortened
};

/// The first of the longest runs of zero groups.
Run LongestZeroRun(const unsigned (&groups)[GROUPS]) {
    Run best;
    for (int i = 0, begin = 0; i < GROUPS; ++i) {
        if (groups[i] != 0)
            begin = i + 1;
        else if (i + 1 - begin > best.length)
            best = {begin, i + 1 - begin};
    }
    return best;
}

/// Whether the last 32 bits are shown as IPv4: ::a.b.c.d and ::ffff:a.b.c.d.
bool EndsAsIp4(const Run& zeros, const unsigned (&groups)[GROUPS]) {
    return zeros.begin == 0 && (zeros.length == 6 || (zeros.length == 5 && groups[5] == 0xFFFF));
}

char* FormatIp6(const unsigned char* bytes, char* out) {
    unsigned groups[GROUPS];
    for (int i = 0; i < GROUPS; ++i)
        groups[i] = static_cast<unsigned>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    const Run zeros = LongestZeroRun(groups);
    const bool ip4Tail = EndsAsIp4(zeros, groups);
    const int end = ip4Tail ? GROUPS - 2 : GROUPS;
    for (int i = 0; i < end; ++i) {
        if (i == zeros.begin) {
            *out++ = ':';
            i += zeros.length - 1;
            if (i == GROUPS - 1)
                *out++ = ':';
            continue;
        }
        if (i > 0)
            *out++ = ':';
        out = FormatGroup(groups[i], out);
    }
    if (!ip4Tail)
        return out;
    *out++ = ':';
    return FormatIp4(bytes + 12, out);
}

}  // namespace

bool RkAddressText::ParseIp4(const char* text, in_addr& addr) {
    if (ParsePlainIp4(text, addr))
        return true;
    const in_addr_t value = BeginsLikeIp6(text) ? INADDR_NONE : ::inet_addr(text);
    if (value == INADDR_NONE)
        return false;
    addr.s_addr = value;
    return true;
}

bool RkAddressText::ParseIp6(const char* text, in6_addr& addr) {
    if (ParsePlainIp6(text, addr))
        return true;
    in6_addr parsed;
    if (::inet_pton(AF_INET6, text, &parsed) != 1)
        return false;
    addr = parsed;
    return true;
}

const char* RkAddressText::ParsePlainIp4(const char* text, in_addr& addr) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        unsigned octet = 0;
        if ((i > 0 && *text++ != '.') || !(text = ParseOctet(text, octet)))
            return nullptr;
        value = value << 8 | octet;
    }
    if (*text != '\0' || value == INADDR_NONE)
        return nullptr;
    addr.s_addr = htonl(value);
    return text;
}

const char* RkAddressText::ParsePlainIp6(const char* text, in6_addr& addr) {
    std::uint16_t groups[GROUPS];
    int count = 0;
    int gap = -1;
    if (*text == ':' && *++text != ':')
        return nullptr;
    for (;;) {
        if (*text == ':') {
            if (gap >= 0)
                return nullptr;
            gap = count;
            if (*++text == '\0')
                break;
        }
        if (count == GROUPS || !(text = ParseGroup(text, groups[count])))
            return nullptr;
        ++count;
        if (*text == '\0')
            break;
        if (*text != ':' || *++text == '\0')
            return nullptr;
    }
    return PlaceGroups(groups, count, gap, addr) ? text : nullptr;
}

char* RkAddressText::Format(int family, const void* addr, char* out) {
    if (family == AF_INET)
        return FormatIp4(static_cast<const unsigned char*>(addr), out);
    if (family == AF_INET6)
        return FormatIp6(static_cast<const unsigned char*>(addr), out);
    throw RkNetworkException(RkMessage("Invalid address family while converting to string", ""));
}
