#pragma once

#include <compare>
#include <iosfwd>
#include <string>

#include "Base/QorBaseExport.h"

/// A wide text (one code point a character). A value type that compares and searches as std::wstring does.
class QOR_BASE_EXPORT RkWString {
public:
    static constexpr std::size_t npos = std::wstring::npos;

    RkWString() = default;
    explicit(false) RkWString(const wchar_t* text);  ///< null reads as empty
    explicit(false) RkWString(const std::wstring& text);

    std::size_t size() const { return m_text.size(); }
    bool empty() const { return m_text.empty(); }
    std::size_t find(const RkWString& part, std::size_t from = 0) const { return m_text.find(part.m_text, from); }
    RkWString substr(std::size_t from, std::size_t count = npos) const { return m_text.substr(from, count); }
    RkWString operator+(const RkWString& other) const { return m_text + other.m_text; }
    RkWString& operator+=(const RkWString& other);
    const std::wstring& GetText() const { return m_text; }

    /// @return the text in UTF-8; a value that is no Unicode scalar becomes U+FFFD
    std::string makeString() const;

    /// The inverse of makeString; bytes that are no UTF-8 become U+FFFD, one each.
    static RkWString FromUtf8(const std::string& text);

    bool operator==(const RkWString&) const = default;
    auto operator<=>(const RkWString&) const = default;

    /// Writes the UTF-8 form.
    friend QOR_BASE_EXPORT std::ostream& operator<<(std::ostream& stream, const RkWString& text);
    friend QOR_BASE_EXPORT std::wostream& operator<<(std::wostream& stream, const RkWString& text);

private:
    std::wstring m_text;
};
