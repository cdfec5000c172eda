#pragma once

#include <string>

#include "Base/RkDevice.h"

/// A device over a text that the caller owns and keeps alive: writes append to it, reads take from its front position on
/// without removing anything. For one thread at a time.
class QOR_BASE_EXPORT RkStringDevice : public RkDevice {
public:
    explicit RkStringDevice(std::string& text);

    ssize_t Read(char* data, size_t count) override;
    ssize_t Write(const char* data, size_t count) override;
    bool Flush() override;
    void Close() override;  ///< nothing to close

    /// Moves the read position; one beyond the text reads as the end.
    long Seek(long offset, int whence) override;
    long Tell() override;  ///< the read position

private:
    std::string& m_text;
    size_t m_position = 0;
};
