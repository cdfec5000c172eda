#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// How URLs and the heads of HTTP messages are searched, trimmed and folded. Find and Searched end at a NUL in the text; letters
/// and white space are ASCII's, whatever the locale of the process. Not exported. Stateless; safe from any thread.
class RkUrlText {
public:
    /// @return position of the first `c` at or after `from`, or npos
    static std::size_t Find(const std::string& text, char c, std::size_t from = 0) {
        const char* found = std::strchr(text.c_str() + from, c);
        return found ? static_cast<std::size_t>(found - text.c_str()) : std::string::npos;
    }

    /// The part of a text that a search sees.
    static std::string_view Searched(const std::string& text) { return text.c_str(); }

    /// @param searched  holds no NUL
    static std::size_t FindLast(std::string_view searched, char c) {
        const auto* found = static_cast<const char*>(::memrchr(searched.data(), c, searched.size()));
        return found ? static_cast<std::size_t>(found - searched.data()) : std::string::npos;
    }

    static bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    static bool IsLetterOrDigit(char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    }

    static void Lower(std::string& text) {
        for (char& c : text)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c + ('a' - 'A'));
    }

    /// Erases from the end what is neither letter nor digit, down to one of those. The first character stays, whatever it is.
    /// @param stop  ends it too; a digit for nothing else
    static void TrimEnd(std::string& text, char stop = '0') {
        std::size_t size = text.size();
        while (size > 1 && !IsLetterOrDigit(text[size - 1]) && text[size - 1] != stop)
            --size;
        text.resize(size);
    }
};
