#pragma once

#include <string>

#include "Base/QorBaseExport.h"

/// Where a caller wants to see traffic. Implemented by callers; safe for the threads that trace into it.
class QOR_BASE_EXPORT RkTrace {
public:
    virtual ~RkTrace();

    /// Asked before every record.
    virtual bool IsEnabled() const = 0;

    /// @param record  one whole record
    virtual void Write(const std::string& record) = 0;
};
