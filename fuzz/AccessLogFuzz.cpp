// A line parses or not; what it gives lies within the line, and a cut line that still parses gives the same.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tools/qornet/AccessLogLine.h"

static bool IsWithin(std::string_view part, std::string_view line) {
    return !part.empty() && part.data() >= line.data() && part.data() + part.size() <= line.data() + line.size();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    AccessLogLine whole, cut;
    if (!whole.Parse(line))
        return 0;
    if (!IsWithin(whole.client, line) || !IsWithin(whole.user, line) || !IsWithin(whole.target, line))
        std::abort();
    if (cut.Parse(line.substr(0, size - 1)) && (cut.target != whole.target || cut.time != whole.time))
        std::abort();
    return 0;
}
