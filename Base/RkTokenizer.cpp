#include "Base/RkTokenizer.h"

std::vector<std::string> RkTokenizer::Tokenize(const std::string& text, char delimiter,
                                               const std::function<std::string(const std::string&)>& decode) {
    std::vector<std::string> pieces;
    ForEach(text, delimiter, [&](std::string_view piece) {
        pieces.emplace_back(piece);
        if (decode)
            pieces.back() = decode(pieces.back());
    });
    return pieces;
}

void RkTokenizer::Tokenize(std::string_view text, char delimiter, std::vector<std::string_view>& pieces) {
    pieces.clear();
    ForEach(text, delimiter, [&](std::string_view piece) { pieces.push_back(piece); });
}
