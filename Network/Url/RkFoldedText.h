/// Texts without regard to the case of ASCII letters, byte by byte: order, equality and hash. Stateless.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr unsigned char RkFoldCase(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

struct RkFoldedLess {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const {
        const std::size_t common = std::min(left.size(), right.size());
        for (std::size_t i = 0; i < common; ++i)
            if (left[i] != right[i] && RkFoldCase(left[i]) != RkFoldCase(right[i]))
                return RkFoldCase(left[i]) < RkFoldCase(right[i]);
        return left.size() < right.size();
    }
};

struct RkFoldedEqual {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const {
        const auto same = [](char a, char b) { return a == b || RkFoldCase(a) == RkFoldCase(b); };
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
    }
};

/// FNV-1a, 64 bits.
struct RkFoldedHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
        std::uint64_t hash = 0xcbf29ce484222325;
        for (const char character : text)
            hash = (hash ^ RkFoldCase(character)) * 0x100000001b3;
        return hash;
    }
};
