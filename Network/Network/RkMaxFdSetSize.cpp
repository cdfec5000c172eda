#include "Network/Network/RkMaxFdSetSize.h"

#include <unistd.h>

#include <algorithm>
#include <climits>

namespace {

constexpr int WORD_BITS = 32;
constexpr long UNNAMED_LIMIT = 1048576;
constexpr long HIGHEST_LIMIT = INT_MAX / WORD_BITS * WORD_BITS;

int DescriptorLimit() {
    const long limit = ::sysconf(_SC_OPEN_MAX);
    const long named = limit > 0 ? std::min(limit, HIGHEST_LIMIT) : UNNAMED_LIMIT;
    return static_cast<int>((named + WORD_BITS - 1) / WORD_BITS * WORD_BITS);
}

}  // namespace

int RkMaxFdSetSize::MaxFD = DescriptorLimit();
int RkMaxFdSetSize::SetSize = MaxFD / 8;
