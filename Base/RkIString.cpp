#include "Base/RkIString.h"

#include <ostream>

RkIString::RkIString(const char* encoding) : m_encoding(encoding == nullptr ? "" : encoding) {}

void RkIString::Assign(const RkWString& text) { m_text = text; }

void RkIString::ToLower() {
    std::wstring lower = m_text.GetText();
    for (wchar_t& character : lower)
        if (character >= L'A' && character <= L'Z')
            character += L'a' - L'A';
    m_text = lower;
}

std::ostream& operator<<(std::ostream& stream, const RkIString& text) { return stream << text.m_text; }
