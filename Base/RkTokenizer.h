#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/QorBaseExport.h"

/// Splits text. Stateless; safe from any thread.
class QOR_BASE_EXPORT RkTokenizer {
public:
    /// Splits at every delimiter. Empty pieces are pieces: "a&&b" gives three, and an empty text gives one.
    /// @param decode  applied to every piece; null leaves them as they are
    static std::vector<std::string> Tokenize(const std::string& text, char delimiter,
                                             const std::function<std::string(const std::string&)>& decode = nullptr);

    /// The same without a copy: the pieces, which replace what was in the vector, point into `text`.
    static void Tokenize(std::string_view text, char delimiter, std::vector<std::string_view>& pieces);

    /// The same without a vector: calls `visit` with each piece in turn, as a std::string_view into `text`.
    template <class Visit>
    static void ForEach(std::string_view text, char delimiter, Visit visit) {
        for (size_t end = text.find(delimiter); end != text.npos; end = text.find(delimiter)) {
            visit(text.substr(0, end));
            text.remove_prefix(end + 1);
        }
        visit(text);
    }
};
