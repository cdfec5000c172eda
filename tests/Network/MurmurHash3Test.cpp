#include "Network/Network/MurmurHash3.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

/// The check of the reference's own test suite: hashes of the keys {}, {0}, {0, 1}, ... with the seeds 256, 255, ... are
/// hashed once more, and the first four bytes of that tell whether all were right.
static void ExpectCheck(void (*hash)(const void*, int, unsigned int, void*), std::size_t size, std::uint32_t expected) {
    std::vector<unsigned char> key(256), hashes(256 * size), final(size);
    for (unsigned i = 0; i < 256; ++i) {
        key[i] = static_cast<unsigned char>(i);
        hash(key.data(), static_cast<int>(i), 256 - i, &hashes[i * size]);
    }
    hash(hashes.data(), static_cast<int>(hashes.size()), 0, final.data());
    std::uint32_t check;
    std::memcpy(&check, final.data(), sizeof check);
    EXPECT_EQ(check, expected);
    hash("abc", -1, 256, final.data());
    EXPECT_EQ(std::memcmp(final.data(), hashes.data(), size), 0) << "a negative length counts as none";
}

TEST(MurmurHash3Test, GivesTheHashesOfTheReferenceForEveryLength) {
    ExpectCheck(MurmurHash3_x86_32, 4, 0xB0F57EE3);
    ExpectCheck(MurmurHash3_x86_128, 16, 0xB3ECE62A);
    ExpectCheck(MurmurHash3_x64_128, 16, 0x6384BA69);
}
