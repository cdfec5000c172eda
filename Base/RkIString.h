#pragma once

#include "Base/RkWString.h"

/// A text for comparison without regard to case, with the name of an encoding. A value type.
class QOR_BASE_EXPORT RkIString {
public:
    /// @param encoding  name of the encoding, kept for GetEncoding; null reads as empty. The letters are A to Z, as in "ASCII",
    ///                  whatever it says.
    explicit RkIString(const char* encoding);

    void Assign(const RkWString& text);  ///< the case of letters stays until ToLower
    void ToLower();                      ///< A to Z alone; comparisons count case, so both sides are lowered first
    const RkWString& ToWString() const { return m_text; }
    const std::string& GetEncoding() const { return m_encoding; }

    bool operator==(const RkIString& other) const { return m_text == other.m_text; }
    auto operator<=>(const RkIString& other) const { return m_text <=> other.m_text; }
    std::size_t size() const { return m_text.size(); }
    bool empty() const { return m_text.empty(); }
    std::size_t find(const RkWString& part, std::size_t from = 0) const { return m_text.find(part, from); }
    RkWString substr(std::size_t from, std::size_t count = RkWString::npos) const { return m_text.substr(from, count); }
    std::string makeString() const { return m_text.makeString(); }
    friend QOR_BASE_EXPORT std::ostream& operator<<(std::ostream& stream, const RkIString& text);

private:
    std::string m_encoding;
    RkWString m_text;
};
