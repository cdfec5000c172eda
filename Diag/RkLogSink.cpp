#include "Diag/RkLogSink.h"

namespace kstr::diag {

RkLogSink::~RkLogSink() = default;

}  // namespace kstr::diag
