#include "Base/RkBStreamTrace.h"

namespace {

void WriteRecord(RkTrace& trace, const char* title, const char* data, size_t count) {
    if (trace.IsEnabled())
        trace.Write(std::string(title).append(data, count));
}

}  // namespace

RkBStreamTrace::RkBStreamTrace(RkDevice& device, RkTrace& trace) : RkBStream(device), m_trace(trace) {}

RkBStreamTrace::~RkBStreamTrace() = default;

ssize_t RkBStreamTrace::Read(char* data, size_t count) {
    const ssize_t came = RkBStream::Read(data, count);
    if (came > 0)
        WriteRecord(m_trace, "read: ", data, static_cast<size_t>(came));
    return came;
}

bool RkBStreamTrace::ReadString(std::string& out, size_t count) {
    const bool complete = RkBStream::ReadString(out, count);
    if (!out.empty())
        WriteRecord(m_trace, "read: ", out.data(), out.size());
    return complete;
}

bool RkBStreamTrace::ReadLine(std::string& line, size_t maxLength) {
    const bool read = RkBStream::ReadLine(line, maxLength);
    if (read)
        WriteRecord(m_trace, "read: ", line.data(), line.size());
    return read;
}

void RkBStreamTrace::Write(const char* data, size_t count) {
    WriteRecord(m_trace, "write: ", data, count);
    RkBStream::Write(data, count);
}
