#include "Diag/RkLogStream.h"

#include <exception>

#include "Base/RkSwallow.h"

namespace kstr::diag {

namespace {

/// @return the line that stands for a statement that threw the exception now being handled
std::string BrokenText() {
    try {
        throw;
    } catch (const std::exception& e) {
        const char* text = e.what();
        return std::string("<DIAG_LOG macro caught std::exception - ") + (text ? text : "what() == NULL") + ">";
    } catch (...) {
        return "<DIAG_LOG macro caught unknown exception>";
    }
}

}  // namespace

RkLogStream::RkLogStream(RkLogger& logger, RkLevel level) : m_logger(logger), m_level(level) {}

void RkLogStream::flush(const char* file, const char* function, int line) {
    const RkLogRecord record{m_level, m_logger.getName(), std::move(*this).str(), file, function, line};
    clear();
    RkLogger::write(record);
}

void LogBrokenStatement(RkLogger& logger, const char* file, const char* function, int line) {
    try {
        PassOnForcedUnwinding();
        const std::string text = BrokenText();
        if (!logger.isEnabled(LV_ERROR))
            return;
        RkLogStream stream(logger, LV_ERROR);
        stream << text;
        stream.flush(file, function, line);
    } catch (...) {  // the sink is what throws: there is nobody left to tell
        PassOnForcedUnwinding();
    }
}

}  // namespace kstr::diag
