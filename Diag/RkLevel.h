#pragma once

#include <limits>

namespace kstr::diag {

/// Log levels; the higher, the graver.
enum RkLevel : int {
    LV_ALL = std::numeric_limits<int>::min(),
    LV_TRACE = 5000,
    LV_DEBUG = 10000,
    LV_INFO = 20000,
    LV_WARN = 30000,
    LV_ERROR = 40000,
    LV_FATAL = 50000,
    LV_OFF = 2147483647
};

}  // namespace kstr::diag
