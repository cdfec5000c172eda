#pragma once

#include <exception>
#include <iosfwd>
#include <string>

#include "Base/RkTypes.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/QorNetworkExport.h"

/// An inclusive range of Internet addresses. Whether an address is in it: `address.IsInRange(r.GetStart(), r.GetEnd())`,
/// where ports count. A value type.
///
/// Written in one of three forms, white space around either part allowed:
/// - `192.168.1.7`            one address
/// - `10.0.0.1 - 10.0.0.9`    first and last address
/// - `192.168.1.77/24`        from the address as it stands (not masked) to the last one with this prefix
///
/// An address is what RkInetAddress takes, host names included: these are resolved, to IPv4.
class QOR_NETWORK_EXPORT RkInetRange {
public:
    /// The text or the addresses are no range. Callers match on the messages.
    class QOR_NETWORK_EXPORT RkInvalidRange : public std::exception {
    public:
        explicit RkInvalidRange(const std::string& message) : m_message(message) {}
        ~RkInvalidRange() override;
        const char* what() const noexcept override { return m_message.c_str(); }

    private:
        std::string m_message;
    };

    /// 0.0.0.0 alone.
    RkInetRange() = default;
    /// Throws what RangeSanityCheck throws.
    RkInetRange(const RkInetAddress& start, const RkInetAddress& end);
    /// Throws what Check throws.
    explicit(false) RkInetRange(const std::string& ipRange);

    RkInetAddress GetStart() const { return m_start; }
    RkInetAddress GetEnd() const { return m_end; }

    /// Both ends joined by "-"; a port other than 0 shows.
    std::string ToString() const;

    /// Parses a text and sets both ends. Throws RkInvalidRange for a text below two characters, a start above the end and a
    /// prefix longer than the address; RkNetworkException for a name that does not resolve and for an IPv4 start with an
    /// IPv6 end; boost::bad_lexical_cast for a prefix length that is no number (only lengths are taken, no dotted masks).
    void Check(const std::string& ipRange);

    /// Splits a text at its first "/" or "-" into its trimmed parts. Both are the whole text if it has neither. With both,
    /// the parts are those around the "-", but `hasMask` is true.
    /// @param hasMask  whether the second part is a prefix length
    void SplitIps(const std::string& ip, std::string& startRange, std::string& endRange, bool& hasMask) const;

    /// @return a word with the `numBits` lowest bits set; all of them from 32 on
    RkUInt32 GenerateMask(RkUInt32 numBits) const;

    /// @param mask  prefix length in decimal
    /// @return text of the last address that shares its first bits with `startRange`
    std::string GetNetMaskRange(const RkInetAddress& startRange, const std::string& mask) const;

    /// Throws RkInvalidRange if the start lies above the end. Ports play no part. The start's family decides how they are
    /// compared: an IPv6 end after an IPv4 start throws RkNetworkException.
    void RangeSanityCheck() const;

private:
    bool StartsAboveEnd() const;

    RkInetAddress m_start;
    RkInetAddress m_end;
};

QOR_NETWORK_EXPORT std::ostream& operator<<(std::ostream& stream, const RkInetRange& range);
