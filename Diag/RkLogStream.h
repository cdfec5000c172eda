#pragma once

#include <sstream>

#include "Diag/RkLogger.h"

namespace kstr::diag {

/// Composes one log line. For one thread at a time.
class QOR_BASE_EXPORT RkLogStream : public std::ostringstream {
public:
    /// @param logger  borrowed. Whether it is on for `level` is not looked at here: DIAG_LOG does
    RkLogStream(RkLogger& logger, RkLevel level);

    using std::ostringstream::flush;

    /// Hands the line to the sink and empties the stream.
    void flush(const char* file, const char* function, int line);

    /// Of the lines flushed from now on.
    void setLevel(RkLevel level) { m_level = level; }

private:
    RkLogger& m_logger;
    RkLevel m_level;
};

/// Logs, at LV_ERROR, that the statement at this place threw the exception now being handled. Lets no exception out; only
/// a forced unwinding (pthread_exit, cancellation), which must not be stopped, goes on.
QOR_BASE_EXPORT void LogBrokenStatement(RkLogger& logger, const char* file, const char* function, int line);

}  // namespace kstr::diag

/// The one log statement: `text` is a chain of `<<`. Costs one atomic load when the level is off; lets no exception out.
#define DIAG_LOG(logger, level, text)                                                   \
    do {                                                                                \
        if ((logger).isEnabled(level)) {                                                \
            try {                                                                       \
                kstr::diag::RkLogStream diagStream((logger), (level));                  \
                diagStream << text;                                                     \
                diagStream.flush(__FILE__, __func__, __LINE__);                         \
            } catch (...) {                                                             \
                kstr::diag::LogBrokenStatement((logger), __FILE__, __func__, __LINE__); \
            }                                                                           \
        }                                                                               \
    } while (false)
