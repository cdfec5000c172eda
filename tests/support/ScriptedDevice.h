/// A device in memory whose reads and writes follow a script, for tests of what stands on a device.
#pragma once

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "Base/RkDevice.h"

class ScriptedDevice : public RkDevice {
public:
    /// Each text is what one read gives, its rest the next one; an empty one is a time-out. After them reads give 0.
    explicit ScriptedDevice(std::deque<std::string> script = {}) : m_script(std::move(script)) {}

    /// The text, at most `chunk` bytes a read.
    ScriptedDevice(const std::string& text, size_t chunk) : m_script{text}, longestRead(chunk) {}

    ssize_t Read(char* data, size_t count) override {
        ++reads;
        const std::string text = m_script.empty() ? "" : m_script.front();
        if (!m_script.empty())
            m_script.pop_front();
        if (text == FAILURE)
            return -1;
        const size_t taken = text.copy(data, std::min(count, longestRead));
        if (taken < text.size())
            m_script.push_front(text.substr(taken));
        return static_cast<ssize_t>(taken);
    }
    ssize_t Write(const char* data, size_t count) override {
        lastWritten = data;
        if (!fails)
            writes.emplace_back(data, std::min(count, longestWrite));
        return fails ? -1 : static_cast<ssize_t>(writes.back().size());
    }
    bool Flush() override { return ++flushes, !fails; }
    void Close() override {}

    /// A read of the script that fails.
    static inline const std::string FAILURE = "<failure>";

private:
    std::deque<std::string> m_script;

public:
    int reads = 0;
    int flushes = 0;
    bool fails = false;  ///< writes and flushes
    size_t longestRead = std::string::npos;
    size_t longestWrite = std::string::npos;
    std::vector<std::string> writes;
    const char* lastWritten = nullptr;  ///< where the last write's bytes stood
};
