#pragma once

#include <string>

#include "Base/QorBaseExport.h"

namespace kstr::diag {

/// Takes what inspected objects report. Implemented by callers.
class QOR_BASE_EXPORT RkInspector {
public:
    virtual ~RkInspector();

    /// @param key   names the kind of object
    /// @param text  its state, several lines
    virtual void reportMultiLineValue(const std::string& key, const std::string& text) = 0;
};

}  // namespace kstr::diag
