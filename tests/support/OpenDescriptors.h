#pragma once

#include <cstddef>
#include <filesystem>

/// @return how many descriptors this process has open, one that counts included
inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}
