#pragma once

#include <string>

#include "Base/QorBaseExport.h"
#include "Diag/RkLevel.h"

namespace kstr::diag {

/// One log line and where it comes from.
struct RkLogRecord {
    RkLevel level;
    std::string logger;   ///< dotted name
    std::string message;  ///< as composed, an ending NUL included
    const char* file;
    const char* function;
    int line;
};

/// Where log lines go. Implemented by callers; `write` is called by many threads at once, under no lock.
class QOR_BASE_EXPORT RkLogSink {
public:
    virtual ~RkLogSink();
    virtual void write(const RkLogRecord& record) = 0;
};

}  // namespace kstr::diag
