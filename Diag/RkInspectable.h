#pragma once

#include "Diag/RkInspector.h"

namespace kstr::diag {

/// An object that can report its state.
class QOR_BASE_EXPORT RkInspectable {
public:
    virtual ~RkInspectable();

    /// Reports the state of this moment, once for each kind of object. May be called by any thread while others use the
    /// object.
    /// @param inspector  used during the call only
    virtual void HandleInspection(RkInspector& inspector) = 0;
};

}  // namespace kstr::diag
