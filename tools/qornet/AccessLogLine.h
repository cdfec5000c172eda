#pragma once

#include <ctime>
#include <string_view>

/// One request of a web access log, in the common or the combined log format:
///
///     203.0.113.7 - alice [10/Oct/2000:13:55:36 -0700] "GET /a.html HTTP/1.0" 200 2326 "referer" "agent"
///
/// The texts are as written, escapes included, and point into the parsed line.
struct AccessLogLine {
    std::string_view client;  ///< address or name of the client
    std::string_view user;    ///< "-" where nobody was logged in
    std::string_view target;  ///< what was asked for: "/a.html"
    std::time_t time = 0;     ///< seconds since the epoch

    /// Parses a line, which has no line end. Fields after the agent are let pass.
    /// @return false when it is no such line, a request without a target ("-") included; nothing means anything then
    bool Parse(std::string_view line);
};
