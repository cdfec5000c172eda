#include "Network/Network/RkInetRange.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/trim.hpp>
#include <boost/lexical_cast.hpp>
#include <ostream>

namespace {

constexpr RkUInt32 WORD_BITS = 32;
constexpr RkUInt32 V6_BITS = 128;

using Words = std::array<RkUInt32, 4>;

/// The words in host order, the first being the most significant; three zeros after that of an IPv4 address.
Words HostOrderWords(const RkInetAddress& address) {
    Words words{};
    address.GetIpAddress(words.data(), words.size(), false);
    return words;
}

void CheckPrefix(RkUInt32 length, RkUInt32 most, const char* message) {
    if (length > most)
        throw RkInetRange::RkInvalidRange(message);
}

}  // namespace

RkInetRange::RkInvalidRange::~RkInvalidRange() = default;

RkInetRange::RkInetRange(const RkInetAddress& start, const RkInetAddress& end) : m_start(start), m_end(end) {
    RangeSanityCheck();
}

RkInetRange::RkInetRange(const std::string& ipRange) { Check(ipRange); }

std::string RkInetRange::ToString() const { return m_start.ToString() + "-" + m_end.ToString(); }

std::ostream& operator<<(std::ostream& stream, const RkInetRange& range) { return stream << range.ToString(); }

void RkInetRange::Check(const std::string& ipRange) {
    if (ipRange.size() < 2)
        throw RkInvalidRange("'" + ipRange + "' is not a valid range");
    std::string start, end;
    bool hasMask = false;
    SplitIps(ipRange, start, end, hasMask);
    m_start = RkInetAddress(start, 0, false);
    if (hasMask)
        end = GetNetMaskRange(m_start, end);
    m_end = RkInetAddress(end, 0, false);
    RangeSanityCheck();
}

// The dash is looked at after the slash and wins over it, while the mask stays: "a-b/24" has the prefix length "b/24", which
// is none. Callers get that error (test ReportsWhatIsNoRange).
void RkInetRange::SplitIps(const std::string& ip, std::string& startRange, std::string& endRange, bool& hasMask) const {
    const std::size_t slash = ip.find('/');
    const std::size_t dash = ip.find('-');
    hasMask = slash != std::string::npos;
    const std::size_t cut = dash != std::string::npos ? dash : slash;
    const std::string whole = ip;
    startRange = whole.substr(0, cut);
    endRange = cut == std::string::npos ? whole : whole.substr(cut + 1);
    boost::algorithm::trim(startRange);
    boost::algorithm::trim(endRange);
}

RkUInt32 RkInetRange::GenerateMask(RkUInt32 numBits) const {
    return numBits >= WORD_BITS ? ~RkUInt32{0} : (RkUInt32{1} << numBits) - 1;
}

// The messages about a prefix that is too long are a suffix only: callers match on them as they are (test
// ReportsWhatIsNoRange).
std::string RkInetRange::GetNetMaskRange(const RkInetAddress& startRange, const std::string& mask) const {
    const auto length = boost::lexical_cast<RkUInt32>(mask);
    if (startRange.IsV4()) {
        CheckPrefix(length, WORD_BITS, " is bigger than address size (ipv4)");
        return RkInetAddress(startRange.GetIpAddress(false) | GenerateMask(WORD_BITS - length), 0).ToString();
    }
    CheckPrefix(length, V6_BITS, " is bigger than address size (ipv6)");
    Words words = HostOrderWords(startRange);
    RkUInt32 hostBits = V6_BITS - length;
    for (std::size_t i = words.size(); i-- > 0; hostBits -= std::min(hostBits, WORD_BITS))
        words[i] |= GenerateMask(hostBits);
    return RkInetAddress(words.data(), static_cast<int>(words.size()), 0, false, false).ToString();
}

void RkInetRange::RangeSanityCheck() const {
    if (StartsAboveEnd())
        throw RkInvalidRange("Start of range is larger than end of range");
}

bool RkInetRange::StartsAboveEnd() const {
    if (m_start.IsV4())
        return m_start.GetIpAddress(false) > m_end.GetIpAddress(false);
    return HostOrderWords(m_start) > HostOrderWords(m_end);
}
