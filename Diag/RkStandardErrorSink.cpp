#include "Diag/RkStandardErrorSink.h"

#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>

namespace kstr::diag {

namespace {

spdlog::level::level_enum ToSpdlog(RkLevel level) {
    if (level >= LV_FATAL)
        return spdlog::level::critical;
    if (level >= LV_ERROR)
        return spdlog::level::err;
    if (level >= LV_WARN)
        return spdlog::level::warn;
    if (level >= LV_INFO)
        return spdlog::level::info;
    return level >= LV_DEBUG ? spdlog::level::debug : spdlog::level::trace;
}

/// @return `message` without an ending NUL, and a question mark for each control character but tab and line feed
std::string ForDisplay(std::string message) {
    if (message.ends_with('\0'))
        message.pop_back();
    const auto isControl = [](unsigned char c) { return (c < ' ' && c != '\t' && c != '\n') || c == 0x7f; };
    std::replace_if(message.begin(), message.end(), isControl, '?');
    return message;
}

}  // namespace

RkStandardErrorSink::RkStandardErrorSink() : m_sink(std::make_unique<spdlog::sinks::stderr_sink_mt>()) {
    m_sink->set_pattern("%Y-%m-%d %H:%M:%S.%e %l [%t] %n: %v");
}

RkStandardErrorSink::~RkStandardErrorSink() = default;

void RkStandardErrorSink::write(const RkLogRecord& record) {
    const std::string message = ForDisplay(record.message);
    const spdlog::source_loc place(record.file, record.line, record.function);
    m_sink->log(spdlog::details::log_msg(place, record.logger, ToSpdlog(record.level), message));
}

}  // namespace kstr::diag
