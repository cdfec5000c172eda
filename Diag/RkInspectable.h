#pragma once

#include "Diag/RkInspector.h"

namespace kstr::diag {

/// An object that can report its state.
class QOR_BASE_EXPORT RkInspectable {
public:
    virtual ~RkInspectable();
    virtual void HandleInspection(RkInspector& inspector) = 0;
};

}  // namespace kstr::diag
