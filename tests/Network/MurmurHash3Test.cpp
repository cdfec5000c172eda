#include "Network/Network/MurmurHash3.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Hash = void (*)(const void*, int, unsigned int, void*);

/// The check of the reference's own test suite: hashes of the keys {}, {0}, {0, 1}, ... with the seeds 256, 255, ... are
/// hashed once more, and the first four bytes of that tell whether all were right.
std::uint32_t ReferenceCheck(Hash hash, std::size_t size) {
    std::vector<unsigned char> key(256), hashes(256 * size), final(size);
    for (unsigned i = 0; i < 256; ++i) {
        key[i] = static_cast<unsigned char>(i);
        hash(key.data(), static_cast<int>(i), 256 - i, &hashes[i * size]);
    }
    hash(hashes.data(), static_cast<int>(hashes.size()), 0, final.data());
    std::uint32_t check;
    std::memcpy(&check, final.data(), sizeof check);
    return check;
}

const struct {
    const char* name;
    Hash hash;
    std::size_t size;
    std::uint32_t check;
} VARIANTS[] = {
    {"x86_32", MurmurHash3_x86_32, 4, 0xB0F57EE3},
    {"x86_128", MurmurHash3_x86_128, 16, 0xB3ECE62A},
    {"x64_128", MurmurHash3_x64_128, 16, 0x6384BA69},
};

}  // namespace

TEST(MurmurHash3Test, GivesTheHashesOfTheReferenceForEveryLength) {
    for (const auto& variant : VARIANTS)
        EXPECT_EQ(ReferenceCheck(variant.hash, variant.size), variant.check) << variant.name;
}

TEST(MurmurHash3Test, NegativeLengthCountsAsNone) {
    for (const auto& variant : VARIANTS) {
        unsigned char none[16], negative[16];
        variant.hash("abc", 0, 7, none);
        variant.hash("abc", -1, 7, negative);
        EXPECT_EQ(std::memcmp(none, negative, variant.size), 0) << variant.name;
    }
}
