#pragma once

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Diag/RkLogger.h"

/// A log sink that keeps what it gets. Safe from any thread.
class CapturingSink : public kstr::diag::RkLogSink {
public:
    struct Record {
        kstr::diag::RkLevel level;
        std::string logger, message;
        bool operator==(const Record&) const = default;
    };

    void write(const kstr::diag::RkLogRecord& record) override {
        const std::lock_guard guard(m_lock);
        m_records.push_back({record.level, record.logger, record.message});
        m_changed.notify_all();
    }
    std::vector<Record> Records() const {
        const std::lock_guard guard(m_lock);
        return m_records;
    }
    /// The messages alone, in the order in which they came.
    std::vector<std::string> Messages() const {
        std::vector<std::string> messages;
        for (const auto& record : Records())
            messages.push_back(record.message);
        return messages;
    }
    /// Waits until a line with this message came.
    void WaitFor(const std::string& message) {
        const auto same = [&](const Record& record) { return record.message == message; };
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [&] { return std::any_of(m_records.begin(), m_records.end(), same); });
    }
    void Clear() {
        const std::lock_guard guard(m_lock);
        m_records.clear();
    }

private:
    mutable std::mutex m_lock;  ///< guards m_records
    std::condition_variable m_changed;
    std::vector<Record> m_records;
};

/// For one scope, logging from a level on goes to a capturing sink; then standard error and the usual level again.
class LogCapture {
public:
    explicit LogCapture(kstr::diag::RkLevel level = kstr::diag::LV_ALL) {
        kstr::diag::RkLogger::setSink(m_sink);
        kstr::diag::RkLogger::setLevel("", level);
    }
    ~LogCapture() {
        kstr::diag::RkLogger::setLevel("", kstr::diag::LV_WARN);
        kstr::diag::RkLogger::setSink(nullptr);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    CapturingSink* operator->() const { return m_sink.get(); }

private:
    const std::shared_ptr<CapturingSink> m_sink = std::make_shared<CapturingSink>();
};
