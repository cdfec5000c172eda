#pragma once

#include <atomic>
#include <concepts>
#include <string>
#include <string_view>

#include "Base/RkDevice.h"

/// A buffered byte stream over a device that the caller owns and keeps alive while the stream is used. For one thread at
/// a time, save for Abort.
///
/// The destructor never touches the device (it may be gone) and drops what was not flushed. A line or string read that
/// failed or met the end ends reading, and a failed write ends writing, until Reset. The buffers are part of the object, so
/// that a stream in a function's frame allocates nothing; what is not used of them is never touched.
class QOR_BASE_EXPORT RkBStream {
public:
    /// Bytes of each of the two buffers. Holds nearly every request head, and the whole of a small answer with its head, and
    /// is small enough for thousands of connections at once.
    static constexpr size_t BUFFER_SIZE = 8192;

    /// @param device  borrowed; not touched before the first read, or the first write that does not fit
    explicit RkBStream(RkDevice& device);
    RkBStream(const RkBStream&) = delete;
    RkBStream& operator=(const RkBStream&) = delete;

    RkDevice& GetDevice() { return m_device; }

    virtual ~RkBStream();

    /// Takes buffered bytes if there are any, else makes one read of the device. May be tried again after a time-out.
    /// @return the number of bytes; 0 at the end, on a time-out and once reading has ended; -1 on an error
    virtual ssize_t Read(char* data, size_t count);

    /// Reads exactly `count` bytes into `out`, replacing it. Room grows with what arrives, not with what was asked for.
    /// @return true when all came; else false, with what came in `out`. A count above SSIZE_MAX (a negative number handed
    ///         on) fails without reading.
    virtual bool ReadString(std::string& out, size_t count);

    /// Reads a line without its LF and one CR before it. A last line without terminator is a line; so is what had come when
    /// a device that reads 0 on a time-out was silent in mid line. Nothing is kept of a line that failed.
    /// @param maxLength  longest line accepted, in bytes without terminator
    /// @return false with an empty line at the end, on an error or time-out, and for a longer line; and so on until Reset
    virtual bool ReadLine(std::string& line, size_t maxLength);

    /// Buffers the bytes, writing to the device what does not fit. Throws an RkException when the device fails.
    virtual void Write(const char* data, size_t count);

    /// Hands all buffered bytes to the device and flushes it. Throws an RkException when the device fails.
    virtual void Flush();

    /// Drops both buffers and the failed state.
    virtual void Reset();

    /// The one call from another thread: sets an atomic flag that makes every later read and write fail, until Reset.
    virtual void Abort();

    /// Write as Write does; a number in decimal, whatever the locale.
    RkBStream& operator<<(std::string_view text);
    RkBStream& operator<<(char character);
    template <std::integral Integer>
    requires(!std::same_as<Integer, char> && !std::same_as<Integer, bool>) RkBStream& operator<<(Integer value) {
        return *this << std::string_view(std::to_string(value));
    }

    /// @return the number of bytes that can be read without the device; 0 after Abort
    size_t Buffered() const { return m_aborted ? 0 : m_inputEnd - m_inputBegin; }

    /// Puts bytes in front of what the device has still to give: for who has received them from the device himself, before
    /// any other read. @param count  at most BUFFER_SIZE
    void Prime(const char* data, size_t count);

    /// What was written and not yet handed to the device: for who writes to the device directly, together with more. Valid
    /// until the next write.
    std::string_view GetPending() const { return {m_output, m_outputSize}; }

    /// Forgets what GetPending gives, once the caller has handed it to the device.
    void DropPending() { m_outputSize = 0; }

private:
    enum class ReadState { Open, Ended, Failed };

    size_t TakeInput(char* data, size_t count);
    bool TakeLinePart(std::string& line);
    bool FillInput();
    ssize_t ReadDevice(char* data, size_t count);
    bool StopReading(ReadState why);
    [[noreturn]] void RefuseWriting() const;
    void RequireWritable() const {
        if (m_aborted || m_writeFailed)
            RefuseWriting();
    }
    void BufferOutput(const char* data, size_t count);
    void WriteOutput();
    void WriteDevice(const char* data, size_t count);

    RkDevice& m_device;
    std::atomic<bool> m_aborted = false;
    ReadState m_readState = ReadState::Open;
    bool m_writeFailed = false;
    size_t m_inputBegin = 0;  ///< of the unread bytes in m_input
    size_t m_inputEnd = 0;
    size_t m_outputSize = 0;
    char m_input[BUFFER_SIZE];
    char m_output[BUFFER_SIZE];
};
