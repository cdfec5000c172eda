// What was parsed and packed comes out of the package again, pair by pair. The old decoder takes anything.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Network/HTTP/OldBase64Decoder.h"
#include "Network/HTTP/RkCgi.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    RkCgi cgi, again;
    cgi.parseData(text);
    again.parseData(cgi.createCgiString(true, true, true, true));
    if (cgi.createCgiString(true, false, false, false) != again.createCgiString(true, false, false, false))
        std::abort();
    std::string encoded, decoded;
    OldBase64Decoder().decode(text, decoded);
    OldBase64Decoder().encode(text, encoded, true);
    return 0;
}
