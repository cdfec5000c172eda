#pragma once

#include <string>

#include "Base/QorBaseExport.h"

/// Base64 with the standard alphabet (RFC 4648, section 4). Stateless; safe from any thread.
class QOR_BASE_EXPORT RkBase64Decoder {
public:
    /// @return the encoded text, padded, without line breaks
    static std::string encode(const std::string& data);

    /// White space is skipped. Decoding ends at padding or at the first character outside the alphabet, with what was
    /// decoded until then.
    static std::string decode(const std::string& text);
};
