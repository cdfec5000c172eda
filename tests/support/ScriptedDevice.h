/// A device in memory whose reads and writes follow a script, for tests of what stands on a device.
#pragma once

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "Base/RkDevice.h"

class ScriptedDevice : public RkDevice {
public:
    /// Each text is what one read gives (the rest of it comes with the next); then reads give 0.
    explicit ScriptedDevice(std::deque<std::string> script = {}) : m_reads(std::move(script)) {}

    /// The text, at most `chunk` bytes a read.
    static ScriptedDevice InChunks(const std::string& text, size_t chunk) {
        ScriptedDevice device;
        for (size_t i = 0; i < text.size(); i += chunk)
            device.m_reads.push_back(text.substr(i, chunk));
        return device;
    }

    ssize_t Read(char* data, size_t count) override {
        ++reads;
        if (m_reads.empty())
            return 0;
        std::string text = std::move(m_reads.front());
        m_reads.pop_front();
        if (text == FAILURE)
            return -1;
        const size_t taken = text.copy(data, count);
        if (taken < text.size())
            m_reads.push_front(text.substr(taken));
        return static_cast<ssize_t>(taken);
    }

    ssize_t Write(const char* data, size_t count) override {
        lastWritten = data;
        if (writesFail)
            return -1;
        writes.emplace_back(data, std::min(count, longestWrite));
        return static_cast<ssize_t>(writes.back().size());
    }

    bool Flush() override { return ++flushes, !flushFails; }
    void Close() override {}

    /// A read of the script that fails; an empty text is one that times out.
    static inline const std::string FAILURE = "<failure>";

    int reads = 0;
    int flushes = 0;
    bool writesFail = false;
    bool flushFails = false;
    size_t longestWrite = std::string::npos;
    std::vector<std::string> writes;
    const char* lastWritten = nullptr;  ///< where the last write's bytes stood

private:
    std::deque<std::string> m_reads;
};
