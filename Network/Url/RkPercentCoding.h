#pragma once

#include <string>
#include <string_view>

/// Percent-encoding, for the URL and CGI layers. Not exported: callers use RkUrl and RkCgi. Stateless; safe from any thread.
class RkPercentCoding {
public:
    /// Adds `in` to `out`, all but ASCII letters and digits as "%" and two upper-case hexadecimal digits.
    static void Encode(std::string_view in, std::string& out);

    /// Adds `in` to `out` with triplets turned into bytes and "+" into spaces. A "%" without two hexadecimal digits stays.
    static void Decode(std::string_view in, std::string& out);
};
