#include "Base/RkString.h"

#include <ostream>

#include "Base/RkWString.h"

RkString::RkString(const char* text) : m_text(text == nullptr ? "" : text) {}
RkString::RkString(const std::string& text) : m_text(text) {}
RkString::RkString(const wchar_t* text) : m_text(RkWString(text).makeString()) {}
RkString::RkString(const std::wstring& text) : m_text(RkWString(text).makeString()) {}

std::ostream& operator<<(std::ostream& stream, const RkString& text) { return stream << text.m_text; }
