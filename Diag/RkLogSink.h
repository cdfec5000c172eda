#pragma once

#include <string>

#include "Base/QorBaseExport.h"
#include "Diag/RkLevel.h"

namespace kstr::diag {

/// One log line and where it comes from.
struct RkLogRecord {
    RkLevel level;         ///< of the log statement
    std::string logger;    ///< dotted name
    std::string message;   ///< as composed, an ending NUL included
    const char* file;      ///< where that stands; a literal, so it may be kept
    const char* function;  ///< likewise
    int line;              ///< likewise, from 1
};

/// Where log lines go. Implemented by callers; `write` is called by many threads at once, under no lock.
class QOR_BASE_EXPORT RkLogSink {
public:
    virtual ~RkLogSink();

    /// @param record  valid during the call only. What it throws ends the log statement, not the program.
    virtual void write(const RkLogRecord& record) = 0;
};

}  // namespace kstr::diag
