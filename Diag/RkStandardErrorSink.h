#pragma once

#include <memory>

#include "Diag/RkLogSink.h"

namespace spdlog::sinks {
class sink;
}

namespace kstr::diag {

/// The default sink: one line a record on standard error, with date, time, level, system thread id, logger and message.
/// A record appears whole, whatever other threads write. Control characters (an ending NUL, escape sequences of a hostile
/// peer) do not reach the terminal.
class QOR_BASE_EXPORT RkStandardErrorSink : public RkLogSink {
public:
    RkStandardErrorSink();
    ~RkStandardErrorSink() override;
    void write(const RkLogRecord& record) override;

private:
    const std::unique_ptr<spdlog::sinks::sink> m_sink;  ///< has a lock of its own
};

}  // namespace kstr::diag
