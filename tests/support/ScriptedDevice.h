/// A device in memory whose reads and writes follow a script, for tests of what stands on a device.
#pragma once

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "Base/RkDevice.h"

struct ScriptedDevice : public RkDevice {
    explicit ScriptedDevice(std::deque<std::string> allReads = {}) : script(std::move(allReads)) {}

    ssize_t Read(char* data, size_t count) override {
        ++reads;
        if (script.empty())
            return 0;
        const std::string text = std::exchange(script.front(), "");
        const size_t taken = text.copy(data, std::min(count, longestRead));
        if (taken < text.size())
            script.front() = text.substr(taken);
        else
            script.pop_front();
        if (text == EXCEPTION)
            throw 1;
        return text == FAILURE ? -1 : static_cast<ssize_t>(taken);
    }
    ssize_t Write(const char* data, size_t count) override {
        lastWritten = data;
        if (!fails)
            writes.emplace_back(data, std::min(count, longestWrite));
        return fails ? -1 : static_cast<ssize_t>(writes.back().size());
    }
    bool Flush() override { return ++flushes, !fails; }
    void Close() override {}

    /// A read of the script that fails, and one that throws.
    static inline const std::string FAILURE = "<failure>", EXCEPTION = "<exception>";

    std::deque<std::string> script;  ///< what each read gives; an empty text is a time-out; after them all come ends
    int reads = 0;
    int flushes = 0;
    bool fails = false;  ///< writes and flushes
    size_t longestRead = std::string::npos;
    size_t longestWrite = std::string::npos;
    std::vector<std::string> writes;
    const char* lastWritten = nullptr;  ///< where the last write's bytes stood
};
