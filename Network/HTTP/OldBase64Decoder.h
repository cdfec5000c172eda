#pragma once

#include <string>

#include "Network/QorNetworkExport.h"

/// The older base64 codec, for callers whose stored data counts on how it decodes. Everything else uses RkBase64Decoder.
/// Stateless; safe from any thread.
class QOR_NETWORK_EXPORT OldBase64Decoder {
public:
    virtual ~OldBase64Decoder();

    /// Adds the base64 text of `data` to `output`, padded with "=".
    /// @param addNewlines  add "\r\n" after every 76 characters, also where the text ends with them
    /// @return output
    std::string& encode(const std::string& data, std::string& output, bool addNewlines);

    /// Adds the decoded bytes to `output`. Faithful for 7-bit text only: a NUL or a byte of 128 and above that comes second or
    /// third in its group of three is dropped with the rest of the group, while the first byte always stays. Line breaks
    /// are skipped; any other foreign character counts as one of value 0, and so does what lacks at the end.
    /// @return output
    std::string& decode(const std::string& data, std::string& output);

    /// @param c  0 to 63; only the lowest six bits count
    /// @return its base64 character
    char AsciiToBase64(char c) const;

    /// Adds the four characters of the next up to three bytes at `it` to `value`, and moves `it` behind them.
    void encodeChunk(std::string::const_iterator& it, const std::string& data, std::string& value) const;
};
