#include "Network/Network/MurmurHash3.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using Byte = unsigned char;

template <class Word>
Word Load(const Byte* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

/// Loads the bytes that are left over as the low end of a word; `count` is at least one, and more than a word is cut.
template <class Word>
[[gnu::always_inline]] inline Word LoadTail(const Byte* from, std::size_t count) {
    if (count >= sizeof(Word))
        return Load<Word>(from);
    Word tail = 0;
    switch (count) {
        case 7:
            tail |= static_cast<Word>(std::uint64_t{from[6]} << 48);
            [[fallthrough]];
        case 6:
            tail |= static_cast<Word>(std::uint64_t{from[5]} << 40);
            [[fallthrough]];
        case 5:
            tail |= static_cast<Word>(std::uint64_t{from[4]} << 32);
            [[fallthrough]];
        case 4:
            return tail | Load<std::uint32_t>(from);
        case 3:
            tail |= static_cast<Word>(from[2] << 16);
            [[fallthrough]];
        case 2:
            return tail | Load<std::uint16_t>(from);
        default:
            return from[0];
    }
}

std::uint32_t Avalanche(std::uint32_t h) {
    h = (h ^ h >> 16) * 0x85ebca6b;
    h = (h ^ h >> 13) * 0xc2b2ae35;
    return h ^ h >> 16;
}

std::uint64_t Avalanche(std::uint64_t h) {
    h = (h ^ h >> 33) * 0xff51afd7ed558ccd;
    h = (h ^ h >> 33) * 0xc4ceb9fe1a85ec53;
    return h ^ h >> 33;
}

/// Spreads one input word before it meets its lane.
template <int ROTATION, class Word>
Word Scramble(Word k, Word first, Word second) {
    return std::rotl(k * first, ROTATION) * second;
}

std::size_t Length(int len) { return len > 0 ? static_cast<std::size_t>(len) : 0; }

/// The x86 32-bit variant: one lane of 32 bits.
struct Lane32 {
    static std::uint32_t Scrambled(std::uint32_t k) { return Scramble<15, std::uint32_t>(k, 0xcc9e2d51, 0x1b873593); }

    void Block(const Byte* from) { h = std::rotl(h ^ Scrambled(Load<std::uint32_t>(from)), 13) * 5 + 0xe6546b64; }

    std::uint32_t h;
};

/// The x86 128-bit variant: four lanes of 32 bits.
struct Lanes4x32 {
    static constexpr std::uint32_t C1 = 0x239b961b, C2 = 0xab0e9789, C3 = 0x38b34ae5, C4 = 0xa1e38b93;

    void Block(const Byte* from) {
        h1 ^= Scramble<15>(Load<std::uint32_t>(from), C1, C2);
        h1 = (std::rotl(h1, 19) + h2) * 5 + 0x561ccd1b;
        h2 ^= Scramble<16>(Load<std::uint32_t>(from + 4), C2, C3);
        h2 = (std::rotl(h2, 17) + h3) * 5 + 0x0bcaa747;
        h3 ^= Scramble<17>(Load<std::uint32_t>(from + 8), C3, C4);
        h3 = (std::rotl(h3, 15) + h4) * 5 + 0x96cd1c35;
        h4 ^= Scramble<18>(Load<std::uint32_t>(from + 12), C4, C1);
        h4 = (std::rotl(h4, 13) + h1) * 5 + 0x32ac3b17;
    }

    void Tail(const Byte* from, std::size_t count) {
        if (count > 12)
            h4 ^= Scramble<18>(LoadTail<std::uint32_t>(from + 12, count - 12), C4, C1);
        if (count > 8)
            h3 ^= Scramble<17>(LoadTail<std::uint32_t>(from + 8, count - 8), C3, C4);
        if (count > 4)
            h2 ^= Scramble<16>(LoadTail<std::uint32_t>(from + 4, count - 4), C2, C3);
        h1 ^= Scramble<15>(LoadTail<std::uint32_t>(from, count), C1, C2);
    }

    void Mix() {
        h1 += h2 + h3 + h4;
        h2 += h1;
        h3 += h1;
        h4 += h1;
    }

    void Finish(std::size_t length) {
        const auto size = static_cast<std::uint32_t>(length);
        h1 ^= size;
        h2 ^= size;
        h3 ^= size;
        h4 ^= size;
        Mix();
        h1 = Avalanche(h1);
        h2 = Avalanche(h2);
        h3 = Avalanche(h3);
        h4 = Avalanche(h4);
        Mix();
    }

    std::uint32_t h1, h2, h3, h4;
};

/// The x64 128-bit variant: two lanes of 64 bits.
struct Lanes2x64 {
    static constexpr std::uint64_t C1 = 0x87c37b91114253d5, C2 = 0x4cf5ad432745937f;

    void Block(const Byte* from) {
        h1 ^= Scramble<31>(Load<std::uint64_t>(from), C1, C2);
        h1 = (std::rotl(h1, 27) + h2) * 5 + 0x52dce729;
        h2 ^= Scramble<33>(Load<std::uint64_t>(from + 8), C2, C1);
        h2 = (std::rotl(h2, 31) + h1) * 5 + 0x38495ab5;
    }

    void Tail(const Byte* from, std::size_t count) {
        if (count > 8)
            h2 ^= Scramble<33>(LoadTail<std::uint64_t>(from + 8, count - 8), C2, C1);
        h1 ^= Scramble<31>(LoadTail<std::uint64_t>(from, count), C1, C2);
    }

    void Mix() {
        h1 += h2;
        h2 += h1;
    }

    void Finish(std::size_t length) {
        h1 ^= length;
        h2 ^= length;
        Mix();
        h1 = Avalanche(h1);
        h2 = Avalanche(h2);
        Mix();
    }

    std::uint64_t h1, h2;
};

/// Feeds all whole blocks of 16 bytes and what is left over.
template <class Lanes>
void Hash128(const void* key, int len, Lanes lanes, void* out) {
    const auto* from = static_cast<const Byte*>(key);
    const std::size_t length = Length(len);
    const std::size_t rest = length % 16;
    for (const Byte* const end = from + (length - rest); from != end; from += 16)
        lanes.Block(from);
    if (rest > 0)
        lanes.Tail(from, rest);
    lanes.Finish(length);
    static_assert(sizeof lanes == 16);
    std::memcpy(out, &lanes, sizeof lanes);
}

}  // namespace

void MurmurHash3_x86_32(const void* key, int len, unsigned int seed, void* out) {
    const auto* from = static_cast<const Byte*>(key);
    const std::size_t length = Length(len);
    const std::size_t rest = length % 4;
    Lane32 lane{seed};
    for (const Byte* const end = from + (length - rest); from != end; from += 4)
        lane.Block(from);
    if (rest > 0)
        lane.h ^= Lane32::Scrambled(LoadTail<std::uint32_t>(from, rest));
    const std::uint32_t hash = Avalanche(lane.h ^ static_cast<std::uint32_t>(length));
    std::memcpy(out, &hash, sizeof hash);
}

void MurmurHash3_x86_128(const void* key, int len, unsigned int seed, void* out) {
    Hash128(key, len, Lanes4x32{seed, seed, seed, seed}, out);
}

void MurmurHash3_x64_128(const void* key, int len, unsigned int seed, void* out) {
    Hash128(key, len, Lanes2x64{seed, seed}, out);
}
