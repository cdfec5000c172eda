#include "Base/RkStringHasher.h"

#include <cstdint>
#include <cstring>

namespace {

template <class Integer>
std::uint64_t Load(const char* from) {
    Integer value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// @param size  7 at most
std::uint64_t LoadShort(const char* from, size_t size) {
    if (size >= 4)
        return Load<std::uint32_t>(from) << 32 | Load<std::uint32_t>(from + size - 4);
    if (size == 0)
        return 0;
    const auto byteAt = [from](size_t i) { return std::uint64_t{static_cast<unsigned char>(from[i])}; };
    return byteAt(0) << 16 | byteAt(size / 2) << 8 | byteAt(size - 1);
}

/// One to one in `hash`, so that no text can wipe out what came before it.
std::uint64_t Mix(std::uint64_t hash, std::uint64_t word, std::uint64_t multiplier) {
    hash = (hash ^ word) * multiplier;
    return hash ^ hash >> 32;
}

}  // namespace

RkStringHasher::RkStringHasher(long prime) : m_prime(prime) {}

// Eight bytes a step; the last step takes the last eight bytes, some of them for the second time.
long RkStringHasher::operator()(const std::string& text) const {
    // Spread over all 64 bits: a prime of 30 bits moves little into the upper half by itself.
    const std::uint64_t multiplier = static_cast<std::uint64_t>(m_prime) * 0x9E3779B97F4A7C15 | 1;
    const char* from = text.data();
    const size_t size = text.size();
    std::uint64_t hash = size;
    if (size < 8) {
        hash = Mix(hash, LoadShort(from, size), multiplier);
    } else {
        for (size_t i = 0; i + 8 < size; i += 8)
            hash = Mix(hash, Load<std::uint64_t>(from + i), multiplier);
        hash = Mix(hash, Load<std::uint64_t>(from + size - 8), multiplier);
    }
    return static_cast<long>(Mix(hash, 0, multiplier));
}
