#include "Base/RkBStream.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "Base/RkException.h"

RkBStream::RkBStream(RkDevice& device) : m_device(device) {}

RkBStream::~RkBStream() = default;

ssize_t RkBStream::Read(char* data, size_t count) {
    const size_t buffered = TakeInput(data, count);
    return buffered > 0 || count == 0 ? static_cast<ssize_t>(buffered) : ReadDevice(data, count);
}

bool RkBStream::ReadString(std::string& out, size_t count) {
    out.clear();
    if (count > SSIZE_MAX)
        return false;
    out.resize(std::min(count, Buffered()));
    size_t came = TakeInput(out.data(), out.size());
    while (came < count) {
        if (came == out.size())
            out.resize(std::min(count, came + std::max(came, BUFFER_SIZE)));
        const ssize_t read = ReadDevice(out.data() + came, out.size() - came);
        if (read <= 0) {
            out.resize(came);
            return StopReading(read == 0 ? ReadState::Ended : ReadState::Failed);
        }
        came += static_cast<size_t>(read);
    }
    return true;
}

bool RkBStream::ReadLine(std::string& line, size_t maxLength) {
    const size_t limit = std::min<size_t>(maxLength, SSIZE_MAX);
    line.clear();
    bool complete = false;
    while (!complete && line.size() <= limit + 1 && FillInput())  // one more than the limit: it may be the CR
        complete = TakeLinePart(line);
    const bool last = m_readState == ReadState::Ended && !line.empty();
    if ((complete || last) && line.size() <= limit)
        return true;
    line.clear();
    return StopReading(ReadState::Failed);
}

void RkBStream::Write(const char* data, size_t count) {
    RequireWritable();
    if (count > BUFFER_SIZE - m_outputSize) {
        WriteOutput();
        if (count >= BUFFER_SIZE)
            return WriteDevice(data, count);
    }
    BufferOutput(data, count);
}

void RkBStream::Flush() {
    RequireWritable();
    WriteOutput();
    m_writeFailed = !m_device.Flush();
    if (m_writeFailed)
        throw RkException("Device flush failed");
}

void RkBStream::Reset() {
    m_inputBegin = m_inputEnd = m_outputSize = 0;
    m_readState = ReadState::Open;
    m_writeFailed = false;
    m_aborted = false;
}

void RkBStream::Abort() { m_aborted = true; }

RkBStream& RkBStream::operator<<(std::string_view text) {
    Write(text.data(), text.size());
    return *this;
}

RkBStream& RkBStream::operator<<(char character) {
    Write(&character, 1);
    return *this;
}

void RkBStream::Prime(const char* data, size_t count) {
    m_inputBegin = 0;
    m_inputEnd = std::min(count, BUFFER_SIZE);
    std::copy_n(data, m_inputEnd, m_input);
}

size_t RkBStream::TakeInput(char* data, size_t count) {
    const size_t taken = std::min(count, Buffered());
    std::copy_n(m_input + m_inputBegin, taken, data);
    m_inputBegin += taken;
    return taken;
}

/// Moves the input up to and including the next LF to `line`, without the terminator; all of it where there is none.
/// @return whether the line is complete
bool RkBStream::TakeLinePart(std::string& line) {
    const char* const begin = m_input + m_inputBegin;
    const size_t available = m_inputEnd - m_inputBegin;
    const void* const end = std::memchr(begin, '\n', available);
    const size_t length = end == nullptr ? available : static_cast<size_t>(static_cast<const char*>(end) - begin);
    line.append(begin, length);
    m_inputBegin += length;
    if (end == nullptr)
        return false;
    ++m_inputBegin;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return true;
}

/// @return whether there is buffered input, after a read of the device where there was none
bool RkBStream::FillInput() {
    if (Buffered() > 0)
        return true;
    const ssize_t read = ReadDevice(m_input, BUFFER_SIZE);
    if (read <= 0)
        return StopReading(read == 0 ? ReadState::Ended : ReadState::Failed);
    m_inputBegin = 0;
    m_inputEnd = static_cast<size_t>(read);
    return true;
}

ssize_t RkBStream::ReadDevice(char* data, size_t count) {
    if (!m_aborted && m_readState == ReadState::Open)
        return m_device.Read(data, count);
    errno = ECANCELED;
    return m_readState == ReadState::Ended ? 0 : -1;
}

/// Ends reading; the first reason stays, and unread input is dropped. @return false
bool RkBStream::StopReading(ReadState why) {
    if (m_readState == ReadState::Open)
        m_readState = why;
    m_inputBegin = m_inputEnd = 0;
    return false;
}

void RkBStream::RefuseWriting() const {
    throw RkException(m_aborted ? "The stream was aborted" : "An earlier write to the device failed");
}

void RkBStream::BufferOutput(const char* data, size_t count) {
    std::copy_n(data, count, m_output + m_outputSize);
    m_outputSize += count;
}

void RkBStream::WriteOutput() {
    if (m_outputSize > 0)
        WriteDevice(m_output, std::exchange(m_outputSize, 0));
}

// A write that stopped half-way leaves a gap in what the peer sees: nothing may follow it.
void RkBStream::WriteDevice(const char* data, size_t count) {
    m_writeFailed = true;
    m_device.WriteExactly(data, count);
    m_writeFailed = false;
}
