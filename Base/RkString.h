#pragma once

#include <string>

#include "Base/QorBaseExport.h"

/// A narrow text in UTF-8. A value type that compares, streams and searches as std::string does.
class QOR_BASE_EXPORT RkString {
public:
    static constexpr std::size_t npos = std::string::npos;

    RkString() = default;
    explicit(false) RkString(const char* text);
    explicit(false) RkString(const std::string& text);
    /// UTF-8 of a wide text; a value that is no Unicode scalar becomes U+FFFD.
    explicit(false) RkString(const wchar_t* text);
    explicit(false) RkString(const std::wstring& text);

    std::size_t size() const { return m_text.size(); }
    bool empty() const { return m_text.empty(); }
    std::size_t find(const RkString& part, std::size_t from = 0) const { return m_text.find(part.m_text, from); }
    RkString substr(std::size_t from, std::size_t count = npos) const { return m_text.substr(from, count); }

    /// @return the text, in UTF-8
    const std::string& makeString() const { return m_text; }

    bool operator==(const RkString&) const = default;
    auto operator<=>(const RkString&) const = default;
    friend QOR_BASE_EXPORT std::ostream& operator<<(std::ostream& stream, const RkString& text);

private:
    std::string m_text;
};
