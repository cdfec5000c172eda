#include "AccessLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string_view>
#include <utility>

#include "Commands.h"
#include "ServeRequest.h"

namespace {

/// Local time, as in 10/Oct/2000:13:55:36 -0700.
std::string FormatTime(std::time_t now) {
    std::tm fields{};
    ::localtime_r(&now, &fields);
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%d/%b/%Y:%H:%M:%S %z", &fields)};
}

/// Appends what a client sent so that it can neither end its quotes nor its line.
void AppendQuoted(std::string& out, std::string_view text) {
    constexpr std::string_view HEX = "0123456789abcdef";
    out += '"';
    for (const char character : text.empty() ? "-" : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\')
            out += '\\';
        if (byte >= ' ' && byte < 0x7f)
            out += character;
        else
            out.append("\\x").append(1, HEX[byte >> 4]).append(1, HEX[byte & 15]);
    }
    out += '"';
}

}  // namespace

AccessLog::AccessLog(std::string path) : m_path(std::move(path)), m_handle(Open()) {
    if (m_handle == -1)
        throw CommandFailed("cannot open the access log '" + m_path + "': " + std::strerror(errno) +
                            "; see --access-log");
}

AccessLog::~AccessLog() { ::close(m_handle); }

int AccessLog::Open() const { return ::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644); }

void AccessLog::Add(const ServeRequest& request) {
    RkInetAddress peer = request.GetPeer();
    peer.SetPort(0);
    std::string line = peer.ToString() + " - - [" + FormatTime(std::time(nullptr)) + "] ";
    AppendQuoted(line, request.getRequestLine());
    line += ' ' + std::to_string(request.getAnswerStatus()) + ' ' + std::to_string(request.getAnswerBytes()) + ' ';
    AppendQuoted(line, request.getHeader("referer"));
    line += ' ';
    AppendQuoted(line, request.getHeader("user-agent"));
    line += '\n';
    [[maybe_unused]] const ssize_t written =
        ::write(m_handle, line.data(), line.size());  // a full disk stops no server
}

void AccessLog::Reopen() {
    const int fresh = Open();
    if (fresh == -1) {
        std::cerr << "qornet: cannot open the access log '" << m_path << "' again: " << std::strerror(errno)
                  << std::endl;
        return;
    }
    ::dup3(fresh, m_handle, O_CLOEXEC);
    ::close(fresh);
}
