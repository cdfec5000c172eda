#pragma once

#include "Base/RkBStream.h"
#include "Base/RkTrace.h"

/// A stream that also hands what passes through it to a trace: "read: " and "write: " records of the bytes as they reach
/// the caller or are handed to the stream. Device and trace belong to the caller.
class QOR_BASE_EXPORT RkBStreamTrace : public RkBStream {
public:
    RkBStreamTrace(RkDevice& device, RkTrace& trace);
    ~RkBStreamTrace() override;

    ssize_t Read(char* data, size_t count) override;
    bool ReadString(std::string& out, size_t count) override;
    bool ReadLine(std::string& line, size_t maxLength) override;
    void Write(const char* data, size_t count) override;

private:
    RkTrace& m_trace;
};
