// Lines read from a stream, each with the terminator that it had, are the input again, however the device cuts it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Base/RkBStream.h"

namespace {

/// Gives the text in pieces whose sizes the text itself decides.
class CuttingDevice : public RkDevice {
public:
    explicit CuttingDevice(std::string_view text) : m_text(text) {}

    ssize_t Read(char* data, size_t count) override {
        const size_t piece = m_text.empty() ? 0 : static_cast<unsigned char>(m_text.front()) % 7 + 1U;
        const size_t taken = m_text.copy(data, std::min(count, piece));
        m_text.remove_prefix(taken);
        return static_cast<ssize_t>(taken);
    }
    ssize_t Write(const char*, size_t count) override { return static_cast<ssize_t>(count); }
    bool Flush() override { return true; }
    void Close() override {}

private:
    std::string_view m_text;
};

void Require(bool holds) {
    if (!holds)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const size_t limit = rest.empty() ? 0 : static_cast<unsigned char>(rest.back());
    CuttingDevice device(rest);
    RkBStream stream(device);
    std::string line;
    while (stream.ReadLine(line, limit)) {
        Require(line.size() <= limit && rest.starts_with(line));
        rest.remove_prefix(line.size());
        Require(rest.empty() || rest.starts_with("\n") || rest.starts_with("\r\n"));
        rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
    }
    Require(line.empty() && !stream.ReadLine(line, limit));
    const size_t end =
        std::min(rest.find('\n'), rest.size());  // either all is read, or a line above the limit stopped it
    Require(rest.empty() || end > limit);
    return 0;
}
