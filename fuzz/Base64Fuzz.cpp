// Decoding gives back what was encoded, also with white space strewn in; and any text at all decodes to what its letters carry.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Base/RkBase64Decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = RkBase64Decoder::encode(input);
    std::string spaced;
    for (const char c : text)
        (spaced += c) += "\r\n";
    if (RkBase64Decoder::decode(text) != input || RkBase64Decoder::decode(spaced) != input)
        std::abort();

    const std::string decoded = RkBase64Decoder::decode(input);
    const std::string again = RkBase64Decoder::encode(decoded);
    if (decoded.size() > input.size() / 4 * 3 + 2 || RkBase64Decoder::decode(again) != decoded)
        std::abort();
    return 0;
}
