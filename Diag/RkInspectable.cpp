#include "Diag/RkInspectable.h"

namespace kstr::diag {

RkInspectable::~RkInspectable() = default;

}  // namespace kstr::diag
