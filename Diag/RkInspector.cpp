#include "Diag/RkInspector.h"

namespace kstr::diag {

RkInspector::~RkInspector() = default;

}  // namespace kstr::diag
