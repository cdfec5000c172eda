// Encoding loses nothing, whatever the bytes; decoding agrees with the plainest decoder.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Network/Url/RkUrl.h"

static std::string PlainlyDecoded(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto digit = [&](std::size_t at) {
            return at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at]));
        };
        if (text[i] == '%' && digit(i + 1) && digit(i + 2)) {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else
            out += text[i] == '+' ? ' ' : text[i];
    }
    return out;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string escaped, back, decoded;
    RkUrl::unescapeString(RkUrl::escapeString(text, escaped), back);
    if (back != text || escaped.find_first_not_of("%0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ") !=
                            std::string::npos)
        std::abort();
    if (RkUrl::unescapeString(text, decoded) != PlainlyDecoded(text))
        std::abort();
    return 0;
}
